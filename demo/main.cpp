#include "OrdersWindow.h"

#include <QApplication>
#include <QTimer>

#include <cstdio>

// Usage: vantile-demo-app [X Y WIDTH HEIGHT]. Once shown, prints the layout of its controls
// as one JSON line on stdout so a script can aim at them.
int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setApplicationName("Acme Orders");
    OrdersWindow window;
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() == 5) {
        window.move(arguments[1].toInt(), arguments[2].toInt());
        window.resize(arguments[3].toInt(), arguments[4].toInt());
    } else {
        window.resize(1100, 700);
    }
    window.show();
    QTimer::singleShot(500, &window, [&window] {
        std::printf("%s\n", window.layoutDescription().toUtf8().constData());
        std::fflush(stdout);
    });
    return QApplication::exec();
}
