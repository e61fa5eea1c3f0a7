#pragma once

#include "RecordingCommands.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>

#include <functional>
#include <optional>
#include <string>

namespace vantile {

// The one running Vantile on the session bus. The first process to own the name is the
// application; every later `vantile` hands its request over and ends.
class InstanceBus : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "app.vantile.Vantile")

public:
    static constexpr const char* service = "app.vantile.Vantile";
    static constexpr const char* path = "/app/vantile/Vantile";
    static constexpr const char* interface = "app.vantile.Vantile";

    enum class Request { activate, startRecording, stopRecording, toggleRecording };

    // What a second process asks the running one for.
    struct Message {
        Request request = Request::activate;
        std::optional<std::string> sourceId;          // startRecording only
        std::optional<std::string> projectDirectory;  // activate only: a project to open
    };

    // Claims the name; false when another process owns it (or there is no session bus).
    bool claim(QDBusConnection connection = QDBusConnection::sessionBus());
    // Whether a process owns the name.
    static bool instanceRunning(QDBusConnection connection = QDBusConnection::sessionBus());
    // Asks the running instance and waits for its answer (a started or stopped recording's
    // directory, possibly empty); throws std::runtime_error with its sentence when it refused.
    static std::string send(const Message& message, QDBusConnection connection = QDBusConnection::sessionBus());

    void setCommands(RecordingCommands* commands) { commands_ = commands; }
    // Brings the main window to front, opening `projectDirectory` first when given.
    void setActivateAction(std::function<void(const std::optional<std::string>& projectDirectory)> action)
    {
        activate_ = std::move(action);
    }

public slots:
    void Activate(const QString& projectDirectory);
    QString StartRecording(const QString& sourceId);
    QString StopRecording();
    QString ToggleRecording();

private:
    // Answers the current call once the command's flow is over.
    RecordingCommands::Reply delayedReply();

    RecordingCommands* commands_ = nullptr;
    std::function<void(const std::optional<std::string>&)> activate_;
};

}  // namespace vantile
