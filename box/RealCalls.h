// The C library's own definitions behind those of this program, and how a call is defined in their place.
#pragma once

#include <dlfcn.h>

namespace box {

// The definition that comes after this program's: the C library's, or a sanitizer's. Once found it is kept. For one
// thread at a time: a box's own, and before it there is but one.
template <typename Call>
Call* realCall(Call*& kept, const char* name) {
    if (kept == nullptr) {
        kept = reinterpret_cast<Call*>(dlsym(RTLD_NEXT, name));
    }
    return kept;
}

}  // namespace box

// Declares a function of this program that takes the place of the C library's under the name that the linker knows,
// and name##Really() for the one behind it.
#define BOX_CALL(type, name, symbol, parameters) \
    type name parameters __asm__(symbol);        \
    using name##Call = type parameters;          \
    static name##Call* name##Kept = nullptr;     \
    static name##Call* name##Really() {          \
        return realCall(name##Kept, symbol);     \
    }
