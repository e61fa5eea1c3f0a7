#include "ProjectSaver.h"

#include <algorithm>

namespace vantile {

ProjectSaver::ProjectSaver(Write write, QObject* parent)
    : QObject(parent), write_(std::move(write)), thread_([this] { run(); })
{
}

ProjectSaver::~ProjectSaver()
{
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    // Whatever is queued is still written: quitting must not lose the last change.
    thread_.join();
}

void ProjectSaver::save(RecordingProject project, std::filesystem::path directory)
{
    {
        const std::lock_guard lock(mutex_);
        const auto waiting = std::find_if(queue_.begin(), queue_.end(),
                                          [&](const Request& request) { return request.directory == directory; });
        // The newer save supersedes it, as it writes the whole project.
        if (waiting != queue_.end()) queue_.erase(waiting);
        queue_.push_back({std::move(project), std::move(directory)});
    }
    changed_.notify_all();
}

void ProjectSaver::waitUntilSaved()
{
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return queue_.empty() && !saving_; });
}

void ProjectSaver::run()
{
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [&] { return stopping_ || !queue_.empty(); });
        if (queue_.empty()) return;
        Request request = std::move(queue_.front());
        queue_.erase(queue_.begin());
        saving_ = true;
        lock.unlock();
        try {
            write_(request.project, request.directory);
        } catch (const std::exception& error) {
            emit saveFailed(QString::fromStdString(error.what()));
        }
        lock.lock();
        saving_ = false;
        changed_.notify_all();
    }
}

}  // namespace vantile
