// The painter of a document's area. A view owns exactly one at a time and replaces it (passing on
// gain and overlay flags) when the user picks another display. The base draws what lies on top of
// every display: cross-fade and cut marks, event lines, transform bars and labels, and answers the
// hit tests from its last drawing.
#pragma once

#include "core/Section.h"
#include "display/DrawTypes.h"
#include "tidework/wavefmt.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

class CEditedMedia;
class CMediaEvent;
class CTransformBase;

enum OverlayBits : uint32_t {
    kOverlayTransformBars = 1u << 0,
    kOverlayCrossFades = 1u << 1,
    kOverlayLabels = 1u << 2,
};

class CVisualizer {
public:
    // `media` is not owned and must outlive the visualizer.
    CVisualizer(CEditedMedia* media, bool mergeChannels);
    virtual ~CVisualizer();
    CVisualizer(const CVisualizer&) = delete;
    CVisualizer& operator=(const CVisualizer&) = delete;

    // Fills `rect` with the display of `view` (document frames) and `selection`. `origin` is the
    // document frame of the play cursor's reference (the view's scroll origin); `focused` picks
    // the selection colours of a focused view.
    virtual void Draw(CDrawContext& dc, const PixelRect& rect, const CSection& view,
                      const CSection& selection, int64_t origin, bool focused) = 0;
    // 1 wave, 2 spectrogram, 3 wavelet.
    virtual int GetType() const = 0;
    // The status bar's text for a document frame and a y given as a fraction of the lane counted
    // from its bottom (1 at the top).
    virtual std::string GetStatusText(int64_t frame, double yFraction) = 0;
    // The shortest view in frames the display can show; the default allows any of 2 frames or more.
    virtual int64_t GetMinimumLength();
    // The document changed: take its format again and drop what was computed from it.
    virtual void Refresh();
    virtual double GetAxisMinimum() = 0;
    virtual double GetAxisMaximum() = 0;
    virtual std::string GetAxisTitle() = 0;

    void SetGain(float gain) { m_gain = gain; }
    float GetGain() const { return m_gain; }
    void SetOverlayFlags(uint32_t bits) { m_overlays = bits; }
    uint32_t GetOverlayFlags() const { return m_overlays; }
    void SetMergeChannels(bool merge);
    bool GetMergeChannels() const { return m_merge; }

    // The transform whose bar of the last drawing holds the point; null when none.
    CTransformBase* HitTestTransform(int x, int y) const;
    // Index of the first label whose pixel lies closer than 5 pixels to x; -1 when none.
    int32_t HitTestLabel(int x, int y, const PixelRect& rect, const CSection& view) const;
    // The event whose cross-fade grip (top band, `flag` 1) or splice grip (bottom band, `flag` 0)
    // holds the point, with the document position of its boundary (where the event ends and the
    // fade begins), which a drag measures from; null when none.
    CMediaEvent* HitTestEvent(int x, int y, int64_t* position, int* flag, const PixelRect& rect,
                              const CSection& view) const;
    // Draws what the overlay flags ask for over a finished display. Cross-fade marks stand above
    // `rect` (in the ruler's band, where their grips answer); event lines run top to bottom, XORed;
    // cut marks sit on the bottom edge. A run of events with the same effects gets a block of bars
    // from the top: one row per effect, the names joined and wrapped before the right edge. Labels
    // are a line, a foot marker and a name box along the bottom. The bars' tags are kept for
    // HitTestTransform until the next call.
    void DrawOverlays(CDrawContext& dc, const PixelRect& rect, const CSection& view);

    // x of document frame `position`: left + (position - view start) * width / view length.
    static int PixelOf(int64_t position, const PixelRect& rect, const CSection& view);

protected:
    struct TransformHitArea {
        PixelRect rect;
        CTransformBase* transform;
    };

    // The "Appearance" setting of section "View" (display/Appearance.h): 0 the default colours,
    // otherwise the platform's.
    static int32_t ReadAppearance();
    // Whether the desktop's accessibility setting asks for high-contrast colours.
    static bool ReadHighContrast();
    // Ink and paper of the overlay texts: white on black, or the platform's window text on its
    // window colour in the platform palette.
    ColorRef OverlayTextColour() const;
    ColorRef OverlayBackColour() const;

    CEditedMedia* m_media;
    WAVEFORMATEX m_format{};  // refreshed from the document
    int32_t m_appearance = 0; // as Refresh last read it
    bool m_highContrast = false;
    float m_gain = 1.0f;
    bool m_merge;
    uint32_t m_overlays = 0xFFFFFFFFu;
    std::vector<TransformHitArea> m_hitAreas;

private:
    void DrawBoundaries(CDrawContext& dc, const PixelRect& rect, const CSection& view, ColorRef ink,
                        ColorRef paper);
    void DrawTransformBars(CDrawContext& dc, const PixelRect& rect, const CSection& view, ColorRef ink,
                           ColorRef paper);
    void DrawLabels(CDrawContext& dc, const PixelRect& rect, const CSection& view, ColorRef ink,
                    ColorRef paper);
};

} // namespace tw
