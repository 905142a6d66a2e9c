#include "line_formatter.h"
#include "windows_text.h"

#include <windows.h>

namespace QV::Logging::inline v2 {

namespace {

class debugger_sink final : public sink {
public:
    void write(const record& message) override {
        // The debugger tells the time itself.
        OutputDebugStringW(windows_text::to_wide(detail::line_body(message) + "\n").c_str());
    }
};

} // namespace

std::shared_ptr<sink> make_debugger_sink() {
    return std::make_shared<debugger_sink>();
}

} // namespace QV::Logging::inline v2
