// Makes the clip object creatable by class id in this process: CoCreateInstance(CLSID_CWaveClip)
// and the library's DllGetClassObject resolve through the class registry afterwards. The clip
// server's start-up calls this once; calling it again only renews the registration.
#pragma once

namespace tw {

// Registers CWaveClip with the friendly name "CWaveClip Object", and the makers of streams and
// transforms that the clip's body loads need (RegisterMediaMakers).
void RegisterClipClasses();

} // namespace tw
