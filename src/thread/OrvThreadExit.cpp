#include "thread/OrvThreadExit.h"

#include <pthread.h>

namespace {

void* end(void* /*unused*/) {
    pthread_exit(nullptr);
}

}  // namespace

void orvPrepareThreadExit() {
    pthread_t thread{};
    if (pthread_create(&thread, nullptr, end, nullptr) == 0) {
        pthread_join(thread, nullptr);
    }
}
