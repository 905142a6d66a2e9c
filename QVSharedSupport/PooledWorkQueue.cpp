#include <QVSharedSupport/PooledWorkQueue.h>

#include <utility>

namespace QV::SharedSupport {

PooledWorkQueue::PooledWorkQueue(std::string name, pool_executor_type executor)
    : strand_(named_thread_executor(std::move(name), std::move(executor))) {}

PooledWorkQueue::~PooledWorkQueue() = default;

PooledWorkQueue::executor_type PooledWorkQueue::get_executor() const {
    return strand_;
}

} // namespace QV::SharedSupport
