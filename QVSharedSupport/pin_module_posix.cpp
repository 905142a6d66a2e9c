#include "pin_module.h"

namespace QV {

// Nobody unloads the library there.
void pin_this_module() noexcept {}

} // namespace QV
