/* The ZIP errors as a C program uses them. */
#include <QVSharedSupport/zip_error.h>

#include <errno.h>

int zip_error_in_c(int code, int errno_value);

/* The code of an error made in C, or 9999 if anything about it is wrong. */
int zip_error_in_c(int code, int errno_value) {
    errno = errno_value;
    CFErrorRef error = zipCreateError(code);
    if (error == NULL) return 9999;
    int made = (int)CFErrorGetCode(error);
    if (!CFEqual(CFErrorGetDomain(error), zipErrorDomain)) made = 9999;
    CFRelease(error);
    if (zipGetErrorString(code) == NULL) made = 9999;
    return made;
}
