#include <csignal>

#include <sys/prctl.h>
#include <unistd.h>

/// Waits to be ended. Its starter blocks SIGTERM, which is inherited, and takes it along when it ends itself.
/// ends.
int main() {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    for (;;)
        pause();
}
