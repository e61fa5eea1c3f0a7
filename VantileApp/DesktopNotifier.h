#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>

#include <functional>
#include <map>
#include <set>
#include <vector>

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

    // Withdraws every notification of ours still on the desktop (CloseNotification), also those
    // whose server has not answered yet, and calls `done` once the server has taken each away or
    // `limitMilliseconds` have passed: a recording's first frame must not show one.
    void withdrawAll(std::function<void()> done, int limitMilliseconds = 1000);
    // Whether any notification of ours may still be on the desktop.
    bool anyShown() const { return !shown_.empty() || unanswered_ > 0; }

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

    void close(uint id);
    void finishWithdrawalIfDone();

    QDBusConnection bus_;
    std::map<uint, Action> pendingActions_;
    std::set<uint> shown_;
    int unanswered_ = 0;       // Notify calls the server has not answered yet
    int closesInFlight_ = 0;   // CloseNotification calls not answered yet
    std::vector<std::function<void()>> withdrawn_;  // waiting for the withdrawal to end
};

}  // namespace vantile
