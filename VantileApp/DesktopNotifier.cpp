#include "DesktopNotifier.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QPointer>
#include <QVariantMap>

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
    QPointer<DesktopNotifier> self(this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [self, onInvoked = std::move(onInvoked)](QDBusPendingCallWatcher* call) mutable {
                call->deleteLater();
                const QDBusPendingReply<uint> reply = *call;
                if (!self || reply.isError() || !onInvoked) return;
                self->pendingActions_[reply.value()] = std::move(onInvoked);
            });
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
    pendingActions_.erase(id);
}

}  // namespace vantile
