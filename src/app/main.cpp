#include "app/OrvCommandLine.h"
#include "app/OrvMain.h"

int main(int argc, char** argv) {
    if (const auto status = orvAnswerCommandLine(argc, argv)) {
        return *status;
    }
    return orvMain();
}
