// Runs the real application in a private headless GNOME session, records with it and stops from
// its recording control, exports, and saves what the monitor shows at each step, for a person to
// look at: `vantile-desktop-screenshots OUTDIR`. The session has no shell, so notifications go to
// a stand-in server and are drawn where GNOME Shell shows them.
#include "support/AppInSession.h"
#include "support/ShellServicesStandIn.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <cstdio>
#include <thread>

using namespace std::chrono_literals;
using namespace vantile;

namespace {

QImage monitorImage(DesktopDriver& driver)
{
    const StreamPicture& shown = driver.picture();
    return QImage(shown.pixels.data(), shown.width, shown.height, shown.width * 4, QImage::Format_RGB32).copy();
}

// A banner at the top of the monitor, as GNOME Shell shows a notification.
void drawNotification(QImage& image, const SentNotification& sent)
{
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF banner(image.width() / 2.0 - 230, 12, 460, sent.actions.empty() ? 92 : 136);
    QPainterPath outline;
    outline.addRoundedRect(banner, 14, 14);
    painter.fillPath(outline, QColor(54, 54, 58));
    QFont font("Noto Sans CJK SC");
    font.setPixelSize(12);
    painter.setFont(font);
    painter.setPen(QColor(190, 190, 195));
    painter.drawText(banner.adjusted(18, 12, -18, 0), Qt::AlignLeft | Qt::AlignTop, "Vantile");
    font.setPixelSize(15);
    font.setWeight(QFont::Bold);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(banner.adjusted(18, 34, -18, 0), Qt::AlignLeft | Qt::AlignTop, QString::fromStdString(sent.summary));
    font.setWeight(QFont::Normal);
    font.setPixelSize(14);
    painter.setFont(font);
    painter.drawText(banner.adjusted(18, 58, -18, 0), Qt::AlignLeft | Qt::AlignTop, QString::fromStdString(sent.body));
    // Actions come as key, label pairs; each label is a button along the bottom.
    const int buttons = int(sent.actions.size() / 2);
    for (int index = 0; index < buttons; ++index) {
        const double width = (banner.width() - 24) / buttons;
        const QRectF button(banner.left() + 12 + index * width, banner.bottom() - 48, width - 4, 36);
        QPainterPath shape;
        shape.addRoundedRect(button, 8, 8);
        painter.fillPath(shape, QColor(78, 78, 84));
        painter.drawText(button, Qt::AlignCenter, QString::fromStdString(sent.actions[std::size_t(index) * 2 + 1]));
    }
}

std::optional<SentNotification> waitForNotification(const ShellServicesStandIn& shell, const std::string& summary,
                                                    std::chrono::milliseconds timeout)
{
    std::optional<SentNotification> found;
    DesktopDriver::waitUntil([&] {
        for (const SentNotification& sent : shell.notifications())
            if (sent.summary == summary) found = sent;
        return found.has_value();
    }, timeout);
    return found;
}

bool save(const QImage& image, const std::filesystem::path& file)
{
    const bool saved = image.save(QString::fromStdString(file.string()));
    std::printf("%s %s\n", saved ? "wrote" : "FAILED", file.c_str());
    return saved;
}

int fail(const std::string& what, const AppInSession& app)
{
    std::fprintf(stderr, "vantile-desktop-screenshots: %s\n%s", what.c_str(), app.log().c_str());
    return 1;
}

}  // namespace

int main(int argc, char** argv)
{
    // Qt only draws here; the application under view is a client of the headless session.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: vantile-desktop-screenshots OUTDIR\n");
        return 2;
    }
    const std::filesystem::path out = argv[1];
    std::filesystem::create_directories(out);

    HeadlessDesktop desktop({.width = 1600, .height = 1000});
    ShellServicesStandIn shell(desktop.busAddress(), false);
    DesktopDriver driver(desktop);
    std::string pattern = (std::filesystem::temp_directory_path() / "vantile-screens-XXXXXX").string();
    const std::filesystem::path home = mkdtemp(pattern.data());
    std::filesystem::permissions(home, std::filesystem::perms(0755));
    desktop.share(home);
    AppInSession app(desktop, driver, VANTILE_APP,
                     {"XDG_VIDEOS_DIR=" + (home / "Videos").string(), "XDG_STATE_HOME=" + (home / "state").string()});
    const auto settle = [] { std::this_thread::sleep_for(1500ms); };
    bool ok = true;

    if (!app.waitForMainWindow(90s)) return fail("the main window did not show", app);
    settle();
    ok &= save(monitorImage(driver), out / "wayland-01-main-window.png");

    app.clickLowestPrimaryButton();
    if (DesktopDriver::waitUntil([&] { return driver.dialogShown(); }, 20s)) {
        settle();
        ok &= save(monitorImage(driver), out / "wayland-02-share-dialog.png");
        driver.answerDialog(true);
    }
    const auto stop = app.waitForStopButton(30s);
    if (!stop) return fail("no recording control appeared", app);
    std::this_thread::sleep_for(3s);
    ok &= save(monitorImage(driver), out / "wayland-03-recording-control.png");
    if (const auto hint = waitForNotification(shell, "正在录制", 5s)) {
        QImage image = monitorImage(driver);
        drawNotification(image, *hint);
        ok &= save(image, out / "wayland-04-recording-notification.png");
    } else {
        ok = false;
        std::fprintf(stderr, "no recording notification was sent\n");
    }

    driver.input().click(stop->centreX(), stop->centreY());
    if (!DesktopDriver::waitUntil([&] { return !app.waitForStopButton(0ms); }, 10s))
        return fail("the recording control stayed after 停止", app);
    if (!app.waitForMainWindow(90s)) return fail("the preview did not show", app);
    std::this_thread::sleep_for(4s);
    ok &= save(monitorImage(driver), out / "wayland-05-preview.png");

    app.clickLowestPrimaryButton();
    const auto exported = waitForNotification(shell, "导出完成", 300s);
    if (!exported) return fail("no notification of the finished export", app);
    settle();
    QImage image = monitorImage(driver);
    drawNotification(image, *exported);
    ok &= save(image, out / "wayland-06-export-notification.png");
    shell.invokeAction(exported->id, "default");
    if (!DesktopDriver::waitUntil([&] { return !shell.revealedItems().empty(); }, 10s))
        return fail("the notification's action revealed nothing", app);
    std::printf("the action revealed %s\n", shell.revealedItems().front().c_str());

    std::error_code ignored;
    std::filesystem::remove_all(home, ignored);
    return ok ? 0 : 1;
}
