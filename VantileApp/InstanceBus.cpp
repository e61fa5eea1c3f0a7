#include "InstanceBus.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include <stdexcept>

namespace vantile {

namespace {

// A start may wait for the desktop's share dialog, a stop for the project to be planned and saved.
constexpr int answerTimeoutMilliseconds = 10 * 60 * 1000;
constexpr const char* refusedError = "app.vantile.Vantile.Error.Refused";

}  // namespace

bool InstanceBus::claim(QDBusConnection connection)
{
    if (!connection.isConnected()) return false;
    if (!connection.registerObject(path, this, QDBusConnection::ExportAllSlots)) return false;
    // The bus hands the name to one process only, so two that start together cannot both own it.
    if (connection.registerService(service)) return true;
    connection.unregisterObject(path);
    return false;
}

bool InstanceBus::instanceRunning(QDBusConnection connection)
{
    return connection.isConnected() && connection.interface()->isServiceRegistered(service).value();
}

std::string InstanceBus::send(const Message& message, QDBusConnection connection)
{
    static constexpr const char* members[] = {"Activate", "StartRecording", "StopRecording", "ToggleRecording"};
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, path, interface, members[static_cast<int>(message.request)]);
    if (message.request == Request::activate) call << QString::fromStdString(message.projectDirectory.value_or(""));
    if (message.request == Request::startRecording) call << QString::fromStdString(message.sourceId.value_or(""));
    const QDBusMessage answer = connection.call(call, QDBus::Block, answerTimeoutMilliseconds);
    if (answer.type() == QDBusMessage::ErrorMessage) throw std::runtime_error(answer.errorMessage().toStdString());
    if (answer.arguments().isEmpty()) return {};
    return answer.arguments().front().toString().toStdString();
}

RecordingCommands::Reply InstanceBus::delayedReply()
{
    setDelayedReply(true);
    return [call = message(), bus = connection()](const RecordingCommands::Answer& answer) {
        bus.send(answer.failure ? call.createErrorReply(refusedError, QString::fromStdString(*answer.failure))
                                : call.createReply(QString::fromStdString(answer.projectDirectory)));
    };
}

void InstanceBus::Activate(const QString& projectDirectory)
{
    if (activate_) activate_(projectDirectory.isEmpty() ? std::nullopt : std::optional(projectDirectory.toStdString()));
}

QString InstanceBus::StartRecording(const QString& sourceId)
{
    if (commands_) {
        commands_->start(sourceId.isEmpty() ? std::nullopt : std::optional(sourceId.toStdString()), delayedReply());
    }
    return {};
}

QString InstanceBus::StopRecording()
{
    if (commands_) commands_->stop(delayedReply());
    return {};
}

QString InstanceBus::ToggleRecording()
{
    if (commands_) commands_->toggle(delayedReply());
    return {};
}

}  // namespace vantile
