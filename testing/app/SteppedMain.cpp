// The daemon's main, its calls on the platform being steps.
#include "Cns.h"
#include "Ens.h"
#include "Hsb.h"
#include "testing/app/MainSteps.h"

#define Hsb SteppedHsb
#define Cns SteppedCns
#define Ens SteppedEns
#include "app/OrvMain.cpp"
