#include <CFAdapters/friendly.h>

const CFStringRef kCFErrorIsFriendlyKey = CFSTR("IsFriendly");

Boolean CFErrorIsFriendly(CFErrorRef error) {
    if (error == nullptr || CFGetTypeID(error) != CFErrorGetTypeID()) return false;
    const CFDictionaryRef user_info = CFErrorCopyUserInfo(error);
    if (user_info == nullptr) return false;
    const void* value = CFDictionaryGetValue(user_info, kCFErrorIsFriendlyKey);
    // The one true object: a number or a string under the key promises nothing.
    const bool friendly = value == kCFBooleanTrue;
    CFRelease(user_info);
    return friendly;
}
