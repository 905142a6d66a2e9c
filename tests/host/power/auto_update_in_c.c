/* The question before an automatic update, as a C program asks it. */
#include <QVSharedSupport/auto_update.h>

int auto_update_in_c(void);

/* 1 for yes, 0 for no. */
int auto_update_in_c(void) {
    bool answer = QXAutoUpdatePreflight();
    return answer == true ? 1 : 0;
}
