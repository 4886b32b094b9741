#include "app/OrvMain.h"

int main() {
    return orvMain();
}
