#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>

#include <functional>
#include <map>

namespace vantile {

// Desktop notifications through org.freedesktop.Notifications. Calls never wait for the
// notification server: a desktop without one simply shows nothing.
class DesktopNotifier : public QObject {
    Q_OBJECT

public:
    using Action = std::function<void()>;

    explicit DesktopNotifier(QDBusConnection bus = QDBusConnection::sessionBus());

    // Shows summary and body; `expireMilliseconds` -1 leaves the duration to the server.
    void notify(const QString& summary, const QString& body, int expireMilliseconds = -1);
    // Also offers one action; `onInvoked` runs when the user picks it or clicks the notification.
    void notifyWithAction(const QString& summary, const QString& body, const QString& actionLabel,
                          Action onInvoked);

    static constexpr const char* service = "org.freedesktop.Notifications";
    static constexpr const char* path = "/org/freedesktop/Notifications";
    static constexpr const char* interface = "org.freedesktop.Notifications";
    static constexpr const char* applicationName = "Vantile";

private slots:
    void handleActionInvoked(uint id, const QString& actionKey);
    void handleClosed(uint id, uint reason);

private:
    void send(const QString& summary, const QString& body, const QStringList& actions, int expireMilliseconds,
              Action onInvoked);

    QDBusConnection bus_;
    std::map<uint, Action> pendingActions_;
};

}  // namespace vantile
