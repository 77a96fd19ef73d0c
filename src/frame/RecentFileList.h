// The application's list of recently used files: six paths, the most recent first, kept in the
// settings store (section `Recent File List`, keys `File1` to `File6`) so that every document thread
// and every later run sees the same list. Two paths that name one file (through "..", a symbolic
// link or a relative spelling) are one entry.
//
// Threads: any. A list object is a copy; Update reads, changes and writes the stored list under one
// process-wide lock, so two documents adding at once lose neither entry.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tw {

class CRecentFileList {
public:
    static constexpr const char* kSection = "Recent File List";
    static constexpr int kSize = 6;
    // Menu ids of the entries: the first entry is kFirstCommand, the last possible kLastCommand.
    static constexpr uint32_t kFirstCommand = 57616;
    static constexpr uint32_t kLastCommand = 57631;

    explicit CRecentFileList(int size = kSize);

    // Reads the stored list; entries beyond the size, empty ones and repeats are dropped.
    void ReadList();
    // Stores the list; keys of entries it no longer has are removed.
    void WriteList() const;

    // `path` moves to the front (absolute, without "." and ".." steps); an entry naming the same
    // file goes, and the oldest entry falls off when the list is full. False when the list stood
    // so already.
    bool Add(const std::string& path);
    // Removes the entry naming the same file as `path`; false when there was none.
    bool Remove(const std::string& path);

    const std::vector<std::string>& Entries() const { return m_entries; }
    int GetSize() const { return m_size; }

    // True when both paths name one file (also when it does not exist any more).
    static bool SameFile(const std::string& first, const std::string& second);
    // The stored list.
    static CRecentFileList Stored();
    // Reads the stored list, lets `change` work on it and stores it when `change` says it changed.
    // Returns what `change` returned.
    static bool Update(const std::function<bool(CRecentFileList&)>& change);

private:
    int m_size;
    std::vector<std::string> m_entries;
};

} // namespace tw
