// In-process stand-ins for the effect components, registered by class id so that the system
// reaches them through CoCreateInstance exactly as it reaches real managers and transforms.
//
// The gain transform multiplies by its one parameter, stores it as its 4-byte state, offers two
// presets ("Soft" 0.5, "Loud" 2.0), an editor page, and an offline interface that records the
// positions it is told. The halving transform keeps every other frame (time ratio 0.5) and hands
// back a new array. Every call a transform receives is logged, so tests can check order.
#pragma once

#include <tidework/transform.h>

#include <string>
#include <vector>

namespace doubles {

// {3B1E6F10-0001-4C55-9A11-0000000000A1} and friends: classes of the doubles.
extern const CLSID kGainClass;
extern const CLSID kHalvingClass;
extern const CLSID kMissingClass; // never registered
// A component that breaks its contract in every answer: odd arrays out of Process (an array of
// doubles, then one claiming two billion elements, then the input array itself), a ratio that is
// not a number, a negative state size, a name it fails to give but allocates anyway.
extern const CLSID kHostileClass;
// The editor page a gain transform names (registered by those tests that show it).
extern const CLSID kGainPage;
// A sub-id that Initialise refuses.
extern const GUID kRefusedSubId;

// Calls received by transform doubles since the last ClearLog, as "Name args".
std::vector<std::string>& Log();
void ClearLog();
// Transform doubles alive now.
int LiveTransforms();

struct ManagerEntry {
    GUID classId{};
    GUID subId{};
    std::u16string name;
    std::u16string menuPaths;
    VARIANT_BOOL hasDialog = VARIANT_FALSE;
    uint32_t flags = 0;
};

struct ManagerDouble {
    std::vector<ManagerEntry> entries;
    std::vector<ManagerEntry> disabled;
    bool hasControl = true;
    // What the double was asked.
    int refreshCalls = 0;
    int rescanCalls = 0;
    std::vector<std::pair<GUID, GUID>> toggles;
    std::vector<std::u16string> addedFiles;
    std::vector<std::pair<std::u16string, VARIANT_BOOL>> scannedFolders;
    HRESULT addFileResult = S_OK;
};

// Makes `clsid` a manager backed by `config` (which must outlive its use); at most 8 at a time.
void RegisterManager(const CLSID& clsid, ManagerDouble* config);
// The class answers nothing any more (CoCreateInstance goes on to the component folders).
void UnregisterManager(const CLSID& clsid);

// Registers the transform doubles' classes; idempotent.
void RegisterTransforms();

} // namespace doubles
