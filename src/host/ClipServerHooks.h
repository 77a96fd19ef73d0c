// The application's side of the clip server hook: the windowless server's start of the audio file
// filters, its view of the document threads and its close-all, answered from the application
// object and FileThreadList.
#pragma once

namespace tw {

// Installs the hook and registers the clip server's classes (CWaveClip, CAudioClipServer,
// CAudioWriter, CAudioMetaData) with the class registry. Runs once, at the application's start-up.
void StartClipServer();

} // namespace tw
