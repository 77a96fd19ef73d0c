// Texts that cross the component boundary: BSTRs handed out by components and GUIDs shown as text.
#pragma once

#include <tidework/com.h>

#include <string>

namespace tw {

// The text of `text` (which may hold no terminator before its length), freeing it; "" for null.
std::string TakeBstr(BSTR text);
// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", upper-case hex.
std::string GuidText(const GUID& guid);
bool IsNullGuid(const GUID& guid);

} // namespace tw
