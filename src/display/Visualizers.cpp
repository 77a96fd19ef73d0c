#include "display/Visualizers.h"

#include "display/PCMVisualizer.h"
#include "display/TimeFrequencyVisualizer.h"

namespace tw {

CVisualizer* NewVisualizer(int type, CEditedMedia* media, bool mergeChannels) {
    if (type == 2 || type == 3)
        return new CSpectrogramVisualizer(media, mergeChannels, type == 3);
    return new CPCMVisualizer(media, mergeChannels);
}

} // namespace tw
