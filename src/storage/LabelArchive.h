// Stored form of a document's marker list (the list's Serialize). Lives in storage because the
// core list cannot see the archive.
#pragma once

namespace tw {

class CArchive;
class CLabelList;

// Storing: u32 count, then per marker u32 type, i64 position, the second text, the first text
// (archive strings). Loading: deletes every marker first, then inserts what it reads, so a marker
// repeated at one position leaves the last one. A truncated or damaged archive throws
// CArchiveException; the markers read before the fault stay in the list, none leaks.
void SerializeLabels(CArchive& archive, CLabelList& labels);

} // namespace tw
