// Audio rendered into a temporary file of a given format, with its peak records built on the way,
// that then becomes a stream of the document (an effect applied offline, a converted document).
// Until Take, the file and the peak file are this object's and go with it.
#pragma once

#include "storage/FileOut.h"

#include <tidework/wavefmt.h>

#include <memory>

namespace tw {

class CFileIO;
class CPCMAudio;
class IBasicIO;

class CTemporaryTake {
public:
    CTemporaryTake();
    ~CTemporaryTake();

    // Makes the temporary file and its peak file and attaches the sink for float frames to be
    // quantised to `format`. False when either file could not be made or the sink refuses the
    // format.
    bool Open(const WAVEFORMATEX& format);
    // What the render writes into.
    CFileOut& Sink() { return m_sink; }
    // Ends the writing and makes the stream of what was written; null when it cannot be read.
    CPCMAudio* Take();

private:
    std::unique_ptr<CFileIO> m_data;
    std::unique_ptr<IBasicIO> m_peaks;
    CFileOut m_sink;
};

} // namespace tw
