#include <QVSharedSupport/message_buffer.h>

#include <algorithm>
#include <new>
#include <span>
#include <string_view>

namespace QV {
namespace {

constexpr std::string_view delimiter = "</plist>";
constexpr std::size_t kilobyte = 1024;
// One read fetches at most this much, as Asio's own composed reads do.
constexpr std::size_t most_room = 64 * kilobyte;
constexpr std::size_t least_room = 4 * kilobyte;
// An empty buffer larger than this gives its memory back: one huge message must not be paid for ever.
constexpr std::size_t kept_when_empty = 1024 * kilobyte;

} // namespace

bool message_buffer::has_message() noexcept {
    if (message_end_ != 0) return true;
    const std::string_view unsearched(reinterpret_cast<const char*>(bytes_.data()) + searched_,
                                      end_ - searched_);
    const std::size_t found = unsearched.find(delimiter);
    if (found != std::string_view::npos) {
        message_end_ = searched_ + found + delimiter.size();
        return true;
    }
    // The last bytes may be the beginning of a delimiter.
    if (unsearched.size() >= delimiter.size()) searched_ = end_ - (delimiter.size() - 1);
    return false;
}

CF::Data message_buffer::take(std::size_t end) {
    CF::Data taken(std::as_bytes(std::span(bytes_).subspan(begin_, end - begin_)));
    if (!taken) throw std::bad_alloc();
    begin_ = searched_ = end;
    message_end_ = 0;
    return taken;
}

CF::Data message_buffer::take_message() {
    return take(message_end_);
}

CF::Data message_buffer::take_rest() {
    return take(end_);
}

boost::asio::mutable_buffer message_buffer::prepare() {
    if (size() == 0) {
        begin_ = searched_ = message_end_ = end_ = 0;
        if (bytes_.size() > kept_when_empty) std::vector<unsigned char>().swap(bytes_);
    }
    // Moving costs no more than was taken since the last move.
    if (bytes_.size() - end_ < least_room && begin_ >= size()) {
        std::copy(bytes_.data() + begin_, bytes_.data() + end_, bytes_.data());
        searched_ -= begin_;
        if (message_end_ != 0) message_end_ -= begin_;
        end_ -= begin_;
        begin_ = 0;
    }
    if (bytes_.size() - end_ < least_room) bytes_.resize(std::max(most_room, 2 * bytes_.size()));
    return {bytes_.data() + end_, std::min(bytes_.size() - end_, most_room)};
}

void message_buffer::commit(std::size_t count) noexcept {
    end_ += count;
}

} // namespace QV
