#include <QVSharedSupport/non_async_executor.h>

#include "immortal.h"
#include "pin_module.h"

namespace QV {

namespace {

/// A context with services that have threads can be destroyed neither while libraries are unloaded, when no
/// thread can end, nor at the end of the process, when the system has ended them.
class lasting_context {
public:
    lasting_context() { pin_this_module(); }
    non_async_execution_context& get() noexcept { return context_.get(); }

private:
    immortal<non_async_execution_context> context_;
};

} // namespace

non_async_execution_context& non_async_executor::context() const {
    static lasting_context shared;
    return shared.get();
}

} // namespace QV
