// Objects of this program, whose memory a box may refuse.
#pragma once

namespace box {

// Does nothing: naming it has the linker take the definitions beside it in the place of the library's.
void keepMemoryCalls();

// Of the daemon's, so many live: made by its threads.
long daemonsObjects();

}  // namespace box
