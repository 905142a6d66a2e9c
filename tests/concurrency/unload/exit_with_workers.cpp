// Ends, with 0, while one worker sleeps towards a task, one is inside a task, a work queue has threads and a
// task waits for each: none of them may keep the process or bring it down.
#include <QVSharedSupport/WorkQueue.h>
#include <QVSharedSupport/thread_queue.h>

#include <boost/asio/post.hpp>

#include <future>
#include <memory>

using QV::SharedSupport::thread_queue;
using QV::SharedSupport::WorkQueue;

namespace {

// Their destructors run at the end of the process, or never.
thread_queue sleeping("sleeping", false);
thread_queue busy("busy", false);

} // namespace

int wmain() {
    sleeping.push_async([] {}, thread_queue::clock::time_point::max());

    std::promise<void> inside;
    // Left behind on purpose: the worker is inside its task to the very end.
    auto* const never = new std::promise<void>;
    busy.push_async([&inside, never] {
        inside.set_value();
        never->get_future().wait();
    });
    inside.get_future().wait();
    busy.push_async([] {});

    auto* const queue = new WorkQueue("io", true);
    boost::asio::post(queue->get_executor(), [] {});
    return 0;
}
