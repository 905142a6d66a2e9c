#include <QVSharedSupport/keyed_unarchiver.h>

#include <fmt/format.h>

#include <utility>

namespace QV::archiver_exceptions {

archive_error::archive_error(const std::string& message, std::string key_path)
    : std::runtime_error(message), key_path_(std::make_shared<const std::string>(std::move(key_path))) {}

archive_error::archive_error(const archive_error&) noexcept = default;
archive_error& archive_error::operator=(const archive_error&) noexcept = default;
archive_error::~archive_error() = default;

const std::string& archive_error::key_path() const noexcept {
    return *key_path_;
}

missing_uid::missing_uid(detail::keyed_archiver_uid uid, std::string key_path)
    : archive_error(fmt::format("uid {} was missing or null", uid.value), std::move(key_path)) {}

cant_decode_as_value::cant_decode_as_value(std::string_view type, std::string key_path)
    : archive_error(fmt::format("Cant decode type '{}' as a value", type), std::move(key_path)) {}

decode_cycle::decode_cycle(std::string key_path)
    : archive_error("A cycle was detected when decoding the archive", std::move(key_path)) {}

} // namespace QV::archiver_exceptions
