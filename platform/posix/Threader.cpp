#include "Mt/Threader.h"

#include "Mt/Threadable.h"

namespace Mt {

int Threader::launch(Threadable& thread) {
    return thread.launch();
}

}  // namespace Mt
