#include <QVSharedSupport/zip_error.h>

#include <CFAdapters/String.h>

#include <boost/system/error_category.hpp>

#include <array>
#include <cerrno>

namespace {

/// The C runtime's text for `error`; empty if it cannot be had.
CF::String text_of_errno(int error) noexcept {
    std::array<char, 1024> buffer{};
    // As much as fits is enough. This is the C runtime's thread-safe text on every system.
    return CF::String(
        std::string_view(boost::system::generic_category().message(error, buffer.data(), buffer.size() - 1)));
}

} // namespace

const CFStringRef zipErrorDomain = CFSTR("minizip.zipErrorDomain");

CFStringRef zipGetErrorString(int error) {
    switch (error) {
    case 0:
        return CFSTR("");
    case -1:
        return CFSTR("Stream error");
    case -3:
        return CFSTR("Data error");
    case -4:
        return CFSTR("Memory error");
    case -5:
        return CFSTR("Buffer error");
    case -6:
        return CFSTR("Version error");
    case -100:
        return CFSTR("End of list file");
    case -101:
        return CFSTR("End of stream");
    case -102:
        return CFSTR("Invalid argument");
    case -103:
        return CFSTR("Invalid zip file");
    case -104:
        return CFSTR("Internal error");
    case -105:
        return CFSTR("CRC check error");
    case -106:
        return CFSTR("MZ_CRYPT_ERROR");
    case -107:
        return CFSTR("MZ_EXIST_ERROR");
    case -108:
        return CFSTR("MZ_PASSWORD_ERROR");
    case -109:
        return CFSTR("MZ_SUPPORT_ERROR");
    case -110:
        return CFSTR("MZ_HASH_ERROR");
    case -111:
        return CFSTR("MZ_OPEN_ERROR");
    case -112:
        return CFSTR("MZ_CLOSE_ERROR");
    case -113:
        return CFSTR("MZ_SEEK_ERROR");
    case -114:
        return CFSTR("MZ_TELL_ERROR");
    case -115:
        return CFSTR("MZ_READ_ERROR");
    case -116:
        return CFSTR("MZ_WRITE_ERROR");
    case -117:
        return CFSTR("MZ_SIGN_ERROR");
    case -118:
        return CFSTR("MZ_SYMLINK_ERROR");
    default:
        return CFSTR("Unknown error");
    }
}

CFErrorRef zipCreateError(int error) {
    const int saved_errno = errno;
    CF::String description;
    if (error == -1) description = text_of_errno(saved_errno);
    if (!description) description = CF::String(zipGetErrorString(error));
    const void* const key = kCFErrorDescriptionKey;
    const void* const value = description.get();
    return CFErrorCreateWithUserInfoKeysAndValues(kCFAllocatorDefault, zipErrorDomain, error, &key, &value,
                                                  1);
}
