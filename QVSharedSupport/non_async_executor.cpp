#include <QVSharedSupport/non_async_executor.h>

namespace QV {

non_async_execution_context& non_async_executor::context() const {
    static non_async_execution_context shared;
    return shared;
}

} // namespace QV
