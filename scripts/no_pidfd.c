/*
 * Loaded before every program in the emulator. qemu lets a program ask the kernel whether it can
 * wait for a process by descriptor, but refuses to start one that way. QProcess concludes from the
 * first that the second works, and starts nothing. This file answers the question with no: QProcess
 * then forks, as on older kernels.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdarg.h>
#include <sys/syscall.h>

enum { ARGUMENTS = 6, BY_DESCRIPTOR = 3 /* P_PIDFD, which older C libraries do not name */ };

typedef long (*SystemCall)(long number, ...);

long syscall(long number, ...)
{
    long argument[ARGUMENTS];
    va_list list;
    va_start(list, number);
    for (int i = 0; i < ARGUMENTS; ++i)
        argument[i] = va_arg(list, long);
    va_end(list);
    if (number == SYS_waitid && argument[0] == BY_DESCRIPTOR) {
        errno = EINVAL;
        return -1;
    }
    return ((SystemCall)dlsym(RTLD_NEXT, "syscall"))(number, argument[0], argument[1], argument[2],
                                                     argument[3], argument[4], argument[5]);
}
