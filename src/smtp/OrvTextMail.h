// The body of a plain text mail: the message's event in the layout that the envelope's format asks for.
#pragma once

#include "smtp/OrvMailBuffer.h"
#include "smtp/OrvMailSource.h"

// The message holds a log event. Formats are "Tsc1" and "FullText"; any other name gives the short layout.
void orvAddTextBody(OrvMailBuffer& buffer, const OrvMailSource& source);
