#include "Log_Event.h"

Log_Event* Log_Event::instance_m = nullptr;

void Log_Event::open() {
    open_ = true;
}

void Log_Event::close() {
    open_ = false;
}
