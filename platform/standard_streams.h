#pragma once

// A program's first step. Opens what of its standard streams is closed, so that no file or device
// that it opens later takes the number of one and is written what belongs there. Nothing can be
// written to such a stream, as to a closed one.
void occupyStandardStreams();
