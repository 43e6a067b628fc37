#include <norva_vell.h>

/* The interface is one for C programs: this file proves that it compiles and links as C. */
int openAndCloseFromC(void);

int openAndCloseFromC(void) {
    velliSession* session = 0;
    const int status = pcdOpenSessionNoCreate(&session, 0);
    return status == VELL_STATUS_OK ? pcdCloseSession(session) : status;
}
