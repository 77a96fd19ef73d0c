// The editor page the gain stand-in names: one slider for its one value (in hundredths), made by
// class id through the component registry as a real page is. It can be told to refuse being made,
// as a page whose component is broken would.
#pragma once

namespace tw::test {

// Registers the page's class; idempotent.
void RegisterGainPage();
// While set, making the page fails.
void SetGainPageRefused(bool refused);

} // namespace tw::test
