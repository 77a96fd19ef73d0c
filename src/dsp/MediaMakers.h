// Tells the document-body loader of storage what only dsp can make: the test tone generator's
// stream records (kind 2) and transforms from their class ids (through the transform manager).
// The clip server, the application and every test or tool that loads bodies call this once at
// start, before the first load; calling it again changes nothing.
#pragma once

namespace tw {

void RegisterMediaMakers();

} // namespace tw
