#include "base/OrvMutex.h"

namespace Mt {

Mutex::Mutex() {
    pthread_mutexattr_t attributes;
    ORV_ASSERT(pthread_mutexattr_init(&attributes) == 0);
    ORV_ASSERT(pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK) == 0);
    ORV_ASSERT(pthread_mutex_init(&mutex, &attributes) == 0);
    ORV_ASSERT(pthread_mutexattr_destroy(&attributes) == 0);
}

}  // namespace Mt
