// The formats the library tags: what a file is called by its container and its mime type, by the
// file's extension for the dictionary and by the reader TagLib chose for an opened file.
#pragma once

#include <string>

namespace TagLib {
class File;
}

namespace vmd {

struct FormatRow {
    const char* extension; // lower case, without the dot
    const char* mimeType;
    const char* container; // as a handler reports it
};

int FormatCount();
const FormatRow& FormatAt(int index);

// Container name and mime type of a file TagLib opened; "Unknown" and
// "application/octet-stream" for a reader this table does not name.
struct FileKind {
    std::string container;
    std::string mimeType;
};
FileKind DescribeFile(TagLib::File* file);

} // namespace vmd
