// Ends a thread by itself, once: before the first pthread_exit of a process the C library loads its unwinder, and when
// it finds no memory for that it stops the process. A worker that ends because memory is short must not meet that.
#pragma once

// To be called when the process starts, before any worker. Where no thread can be had all stays as it is.
void orvPrepareThreadExit();
