#pragma once

#include <QVSharedSupport/export.h>

#include <CFAdapters/Data.h>

#include <boost/asio/buffer.hpp>

#include <cstddef>
#include <vector>

namespace QV {

/// The bytes of a property-list message stream that have arrived and not been taken yet.
///
/// A message is everything up to and including the next "</plist>". Searching, taking and refilling together
/// are linear in the bytes that pass through: the search goes on where it stopped, a taken message is skipped
/// rather than moved over, and the rest moves to the front only when at least as many bytes have been taken.
/// There is no limit on the length of a message. Not thread-safe.
class QV_EXPORT message_buffer {
public:
    /// Whether a whole message is there.
    [[nodiscard]] bool has_message() noexcept;
    /// The first message; it is gone from the buffer afterwards. `has_message()` must be true.
    /// @throws std::bad_alloc; the message stays then
    [[nodiscard]] CF::Data take_message();
    /// All bytes held, taken like a message: what is left when the stream has ended.
    /// @throws std::bad_alloc; the bytes stay then
    [[nodiscard]] CF::Data take_rest();

    /// Room for more bytes, never empty. Valid until the next call of any other function than `commit`.
    /// @throws std::bad_alloc
    [[nodiscard]] boost::asio::mutable_buffer prepare();
    /// Adds the first `count` bytes of the room.
    void commit(std::size_t count) noexcept;

    /// How many bytes are held.
    [[nodiscard]] std::size_t size() const noexcept { return end_ - begin_; }

private:
    CF::Data take(std::size_t end);

    std::vector<unsigned char> bytes_;
    std::size_t begin_ = 0;       // what lies before has been taken
    std::size_t searched_ = 0;    // no delimiter begins before
    std::size_t message_end_ = 0; // past the delimiter of the first message; 0 while none is found
    std::size_t end_ = 0;         // what lies behind is room
};

} // namespace QV
