#pragma once

#include <CFAdapters/Array.h>
#include <CFAdapters/Dictionary.h>
#include <CFAdapters/Type.h>

#include <cstddef>
#include <optional>
#include <unordered_map>
#include <vector>

namespace QV {

/// Copies a graph of arrays and dictionaries, changing values on the way: what sanitising and redaction
/// share.
///
/// Arrays and dictionaries become new mutable ones, filled in order; what becomes of everything else the
/// derived class says. The walk takes no more stack for a deep graph than for a flat one.
///
/// A container that occurs many times in the graph is copied each time, as long as that stays within reason:
/// containers that share containers can stand for more values than any memory holds. From then on copies are
/// shared as the originals are.
class graph_copy {
public:
    graph_copy() = default;
    graph_copy(const graph_copy&) = delete;
    graph_copy& operator=(const graph_copy&) = delete;
    virtual ~graph_copy() = default;

    /// The copy of `root`, which may be null; empty where the derived class gives nothing.
    /// @throws std::bad_alloc
    CF::AutoPointer run(CFTypeRef root);

private:
    /// What stands for a value that is neither array nor dictionary; nothing where it cannot be represented.
    virtual CF::AutoPointer leaf(CFTypeRef value) = 0;
    /// What stands for an array or dictionary met within itself.
    virtual CF::AutoPointer cycle() = 0;
    /// What stands for the whole value under `key`, whatever it is; nothing for a value that is to be copied.
    virtual CF::AutoPointer replacement(CFTypeRef key, CFTypeRef value) = 0;
    /// Whether a dictionary's key may stay.
    virtual bool accepts_key(CFTypeRef key) = 0;
    /// Whether a value that cannot be represented is left out. If not, what contains it cannot be either.
    virtual bool leaves_gaps() const = 0;

    /// A container that is being copied. Borrows from the original, which must not change meanwhile.
    struct level {
        CFTypeRef original = nullptr;
        CF::MutableArray array; ///< One of the two is the copy.
        CF::MutableDictionary dictionary;
        std::vector<const void*> keys; ///< Of a dictionary.
        std::vector<const void*> values;
        std::size_t next = 0;
        bool failed = false;
    };

    /// What is known of a container that has been met.
    struct record {
        bool inside = false;  ///< It is being copied.
        CF::AutoPointer copy; ///< Its last copy; empty if there was none to be had.
    };

    /// The copy of `value`; none yet if it is a container, which has been entered.
    std::optional<CF::AutoPointer> visit(CFTypeRef value);
    /// Goes one value further in the innermost container, or leaves it: the copy of that value or container.
    std::optional<CF::AutoPointer> advance();
    void accept(const CF::AutoPointer& copy);
    void enter(CFTypeRef container);
    CF::AutoPointer leave();

    /// How many values may be copied again because their container occurs again.
    static constexpr std::size_t most_repeated = 1'000'000;

    std::vector<level> levels_;
    std::unordered_map<CFTypeRef, record> known_;
    std::size_t repeated_ = 0;
};

} // namespace QV
