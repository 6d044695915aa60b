// Queued signals with values, sent while the thread emulates: each comes once, in the order of sending,
// with its value.
#include "emulated_work.h"

#include <csignal>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

static constexpr int count = 300;
static std::atomic<int> received;

static void on_queued(int number, siginfo_t *info, void *) {
    EXPECT(number == SIGRTMIN + 1 && info->si_code == SI_QUEUE && info->si_pid == getpid());
    EXPECT(info->si_value.sival_int == received);
    received++;
    emulated_disturbance();
}

int main() {
    struct sigaction action = {};
    action.sa_sigaction = on_queued;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGRTMIN + 1, &action, nullptr);
    sigset_t queued;
    sigemptyset(&queued);
    sigaddset(&queued, SIGRTMIN + 1);
    pthread_sigmask(SIG_BLOCK, &queued, nullptr); // the other thread sends, and handles none
    pthread_t sender;
    pthread_create(
        &sender, nullptr,
        [](void *) -> void * {
            for (int i = 0; i < count; i++) {
                while (sigqueue(getpid(), SIGRTMIN + 1, {.sival_int = i}) != 0)
                    sched_yield();
                if (i % 8 == 0)
                    usleep(300);
            }
            return nullptr;
        },
        nullptr);
    pthread_sigmask(SIG_UNBLOCK, &queued, nullptr);
    for (uint32_t i = 0; received < count; i++)
        EXPECT_WORK(i, 40);
    pthread_join(sender, nullptr);
    EXPECT(received == count);
    return verdict("queue");
}
