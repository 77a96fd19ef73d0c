// Makes the painter of a display type, so that its owner needs no painter's own header: the
// time-frequency painters keep toolkit images as members.
#pragma once

namespace tw {

class CEditedMedia;
class CVisualizer;

// 2 spectrogram, 3 wavelet plot, anything else the wave. The caller owns the result.
CVisualizer* NewVisualizer(int type, CEditedMedia* media, bool mergeChannels);

} // namespace tw
