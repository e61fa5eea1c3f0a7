#pragma once

#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QThreadPool>

#include <exception>
#include <string>
#include <utility>

namespace vantile {

// Runs `work` on `workers` and then `done(result)` on `context`'s thread (the main thread).
// Always resumes through the event loop, never inside the call that started the work, even
// when the work is over before the call returns; nothing resumes once `context` is gone.
template <typename Work, typename Done>
void runOffMainThread(QThreadPool& workers, QObject* context, Work work, Done done)
{
    workers.start([context = QPointer<QObject>(context), work = std::move(work), done = std::move(done)]() mutable {
        auto result = work();
        if (!context) return;
        QMetaObject::invokeMethod(
            context.data(), [done = std::move(done), result = std::move(result)]() mutable { done(std::move(result)); },
            Qt::QueuedConnection);
    });
}

// The user's sentence of whatever a flow's work threw.
inline std::string describeError(const std::exception_ptr& error)
{
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& caught) {
        return caught.what();
    } catch (...) {
        return "Unknown error.";
    }
}

}  // namespace vantile
