#include "DesktopNotifier.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QPointer>
#include <QTimer>
#include <QVariantMap>

#include <algorithm>

namespace vantile {

namespace {

// The key the notification server reports when the notification's body itself is clicked.
constexpr const char* defaultActionKey = "default";

}  // namespace

DesktopNotifier::DesktopNotifier(QDBusConnection bus)
    : bus_(std::move(bus))
{
    bus_.connect(service, path, interface, "ActionInvoked", this, SLOT(handleActionInvoked(uint, QString)));
    bus_.connect(service, path, interface, "NotificationClosed", this, SLOT(handleClosed(uint, uint)));
}

void DesktopNotifier::notify(const QString& summary, const QString& body, int expireMilliseconds)
{
    send(summary, body, {}, expireMilliseconds, nullptr);
}

void DesktopNotifier::notifyWithAction(const QString& summary, const QString& body, const QString& actionLabel,
                                       Action onInvoked)
{
    send(summary, body, {defaultActionKey, actionLabel}, -1, std::move(onInvoked));
}

void DesktopNotifier::send(const QString& summary, const QString& body, const QStringList& actions,
                           int expireMilliseconds, Action onInvoked)
{
    if (!bus_.isConnected()) return;
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, "Notify");
    const QVariantMap hints{{"desktop-entry", QStringLiteral("app.vantile.Vantile")}};
    message << QString(applicationName) << uint(0) << QStringLiteral("app.vantile.Vantile") << summary << body
            << actions << hints << expireMilliseconds;
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(message), this);
    ++unanswered_;
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, onInvoked = std::move(onInvoked)](QDBusPendingCallWatcher* call) mutable {
                call->deleteLater();
                unanswered_ = std::max(unanswered_ - 1, 0);
                const QDBusPendingReply<uint> reply = *call;
                if (!reply.isError()) {
                    // Shown after a withdrawal began: it goes too.
                    if (!withdrawn_.empty()) close(reply.value());
                    else shown_.insert(reply.value());
                    if (onInvoked) pendingActions_[reply.value()] = std::move(onInvoked);
                }
                finishWithdrawalIfDone();
            });
}

void DesktopNotifier::withdrawAll(std::function<void()> done, int limitMilliseconds)
{
    withdrawn_.push_back(std::move(done));
    for (const uint id : std::exchange(shown_, {})) close(id);
    // A server that never answers must not hold the caller back.
    QTimer::singleShot(limitMilliseconds, this, [this] {
        unanswered_ = 0;
        closesInFlight_ = 0;
        finishWithdrawalIfDone();
    });
    finishWithdrawalIfDone();
}

void DesktopNotifier::close(uint id)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, "CloseNotification");
    message << id;
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(message), this);
    ++closesInFlight_;
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        closesInFlight_ = std::max(closesInFlight_ - 1, 0);
        finishWithdrawalIfDone();
    });
}

void DesktopNotifier::finishWithdrawalIfDone()
{
    if (withdrawn_.empty() || unanswered_ > 0 || closesInFlight_ > 0) return;
    for (const auto& done : std::exchange(withdrawn_, {})) done();
}

void DesktopNotifier::handleActionInvoked(uint id, const QString& actionKey)
{
    const auto found = pendingActions_.find(id);
    if (found == pendingActions_.end() || actionKey != defaultActionKey) return;
    const Action action = std::move(found->second);
    pendingActions_.erase(found);
    action();
}

void DesktopNotifier::handleClosed(uint id, uint)
{
    shown_.erase(id);
    pendingActions_.erase(id);
}

}  // namespace vantile
