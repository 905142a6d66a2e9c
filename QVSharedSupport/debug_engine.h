#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace QV {

/// What code at an address belongs to.
struct symbol {
    std::string name;             ///< "module!function", in UTF-8
    std::uint64_t displacement{}; ///< how far behind the start of it the address is
};

/// The system's debugging engine, looking at the calling process.
///
/// Thread safety: used on the thread that made it, and one in a process at a time: the engine keeps its state
/// for the whole process.
class debug_engine {
public:
    /// Without the engine, or if it will not look at this process, every symbol is unknown.
    /// @throws std::bad_alloc
    debug_engine();
    debug_engine(const debug_engine&) = delete;
    debug_engine& operator=(const debug_engine&) = delete;
    ~debug_engine();

    /// The symbol that covers the address, if the engine knows one. @throws std::bad_alloc
    [[nodiscard]] std::optional<symbol> find(std::uintptr_t address) const;

private:
    struct session;
    std::unique_ptr<session> session_;
};

} // namespace QV
