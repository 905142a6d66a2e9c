#pragma once

#include <QVSharedSupport/export.h>
#include <QVSharedSupport/named_thread_executor.h>

#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>

#include <memory>
#include <string>

namespace QV::SharedSupport {

/// A named place to run work one piece at a time, in order, on the threads of a pool that others share.
///
///     boost::asio::thread_pool pool(4);
///     QV::SharedSupport::PooledWorkQueue queue("device 3", pool.get_executor());
///     boost::asio::post(queue.get_executor(), [] { ... });  // on a thread called "device 3" meanwhile
///
/// It owns no thread, and destroying it waits for nothing: what was submitted still runs, in order.
///
/// Thread safety: any thread may use one object at any time. Lifetime: the pool outlives the queue, and the
/// executors that it handed out.
class QV_EXPORT PooledWorkQueue {
public:
    using pool_executor_type = boost::asio::thread_pool::basic_executor_type<std::allocator<void>, 0>;
    using executor_type = boost::asio::strand<named_thread_executor<pool_executor_type>>;

    /// Makes a strand on the pool. @throws std::bad_alloc
    PooledWorkQueue(std::string name, pool_executor_type executor);
    PooledWorkQueue(const PooledWorkQueue&) = delete;
    PooledWorkQueue& operator=(const PooledWorkQueue&) = delete;
    ~PooledWorkQueue();

    /// An executor that carries the queue's name. All of them share one strand: what is submitted through any
    /// of them never runs at the same time.
    [[nodiscard]] executor_type get_executor() const;

private:
    // Name, pool executor and strand, in one object: its copies are what is handed out.
    executor_type strand_;
};

} // namespace QV::SharedSupport
