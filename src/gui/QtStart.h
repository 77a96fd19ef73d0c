// Puts windows on screen for the process: starts (or adopts) the GUI thread and installs the Qt
// presentation. False, and the headless presentation stays, when there is no display.
#pragma once

namespace tw {

bool StartWindows();

} // namespace tw
