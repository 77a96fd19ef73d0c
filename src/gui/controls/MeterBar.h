// The meter bar: the eight-channel meter of what plays or records, and two dials for the output
// device's volume and balance. It does not reach the device itself; the owner hands it a reader and a
// writer of the device's packed volume (left in the low 16 bits, right in the high 16 bits).
#pragma once

#include <QWidget>

#include <cstdint>
#include <functional>
#include <vector>

class QBoxLayout;

namespace tw {

class CKnob;
class CSurroundLED;

class CMeterBar : public QWidget {
    Q_OBJECT

public:
    // Fills `packed` and answers true, or answers false when the device has no mixer.
    using VolumeReader = std::function<bool(uint32_t& packed)>;
    using VolumeWriter = std::function<void(uint32_t packed)>;

    static constexpr int kMinVolumeDb = -60;
    static constexpr int kMaxVolumeDb = 0;
    static constexpr int kMaxBalance = 100; // percent; -100 is all left

    explicit CMeterBar(QWidget* parent = nullptr);

    // Reads the device's volume into the dials, balance centred, and from then on writes every turn
    // of a dial through `write`. Without a reader, or when it fails, the dials are disabled.
    void SetVolumeAccess(VolumeReader read, VolumeWriter write);

    // 1 to 8, limited to that.
    void SetChannels(int n);
    int Channels() const { return m_channels; }
    // One value per channel, 0 (-80 dB) to 100 (full scale); channels the list does not reach get 0.
    void SetLevels(const std::vector<int>& levels);
    void Reset();

    int VolumeDb() const { return m_volumeDb; }
    int Balance() const { return m_balance; }

    CSurroundLED* Meter() const { return m_meter; }
    CKnob* VolumeDial() const { return m_volumeDial; }
    CKnob* BalanceDial() const { return m_balanceDial; }

    // The dial position for a device volume: the louder side in dB, truncated to a whole dB and
    // limited to -60..0; silence gives -60.
    static int StartVolumeDb(uint32_t packed);
    // The device volume for the dials: the balance lowers only the side it turns away from.
    static uint32_t PackVolume(int volumeDb, int balancePercent);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void OnVolumeDial(int volumeDb);
    void OnBalanceDial(int balance);
    void WriteVolume();
    void FitDirection();

    QBoxLayout* m_layout = nullptr;
    QBoxLayout* m_dials = nullptr;
    CSurroundLED* m_meter = nullptr;
    CKnob* m_volumeDial = nullptr;
    CKnob* m_balanceDial = nullptr;
    int m_channels = 8;
    int m_volumeDb = 0;
    int m_balance = 0;
    VolumeWriter m_write;
};

} // namespace tw
