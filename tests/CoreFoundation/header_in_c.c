/* The interface is read by C programs as well: this file is compiled as one, and called from a test. */
#include <CoreFoundation/CoreFoundation.h>

int length_from_c(void);

static const void* const kept[] = {"a", "b"};

int length_from_c(void) {
    CFStringRef string = CFSTR("from C");
    CFRange range = CFRangeMake(0, CFStringGetLength(string));
    CFMutableArrayRef array = CFArrayCreateMutable(kCFAllocatorDefault, 0, NULL);
    CFIndex count;
    CFArrayAppendValue(array, kept[0]);
    CFArrayAppendValue(array, kept[1]);
    count = CFArrayGetCount(array);
    CFRelease(array);
    return (int)(range.length + count);
}
