#pragma once

#include "model/RecordingProject.h"

#include <QObject>
#include <QString>

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace vantile {

// Saves projects on a thread of its own so a settings click never waits for fsync of
// megabytes of events and cursor path. Saves land in the order they were asked for; a save
// still waiting when a newer one of the same project arrives is replaced by it, as each save
// writes the whole project.
class ProjectSaver : public QObject {
    Q_OBJECT

public:
    // Writes one project; throws with the user's sentence.
    using Write = std::function<void(const RecordingProject&, const std::filesystem::path&)>;

    explicit ProjectSaver(Write write, QObject* parent = nullptr);
    ~ProjectSaver() override;

    void save(RecordingProject project, std::filesystem::path directory);
    // Blocks until every save asked for so far is on disk or has failed.
    void waitUntilSaved();

signals:
    // Delivered on the thread the saver lives on.
    void saveFailed(const QString& message);

private:
    struct Request {
        RecordingProject project;
        std::filesystem::path directory;
    };

    void run();

    Write write_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Request> queue_;
    bool saving_ = false;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace vantile
