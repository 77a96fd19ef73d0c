// The window of the parameters page: the response curve of the object's class when there is one,
// then a row of controls for each parameter (in two columns when there are many). What the person
// sets is written into the object at once; a timer reads the object back every 100 ms, so values
// set elsewhere (a preset chosen in the dialog) show on every control the person is not working.
#pragma once

#include "ParamList.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <vector>

class QTimer;

namespace tp {

class CParamRow;
class CResponseCurve;

class CParamsPanel : public QWidget {
public:
    static constexpr int kPollMs = 100;

    CParamsPanel(std::shared_ptr<CParamList> params, QWidget* parent);
    ~CParamsPanel() override;

    // The size the panel of `params` wants, in device-independent pixels.
    static QSize PreferredSize(const CParamList& params);

    // Lets go of the object: the controls stay, greyed, and nothing is read or written any more.
    void Detach();

    // The person changed a value.
    std::function<void()> onEdited;

private:
    static int Columns(int count);
    void Edited(int index, double value);
    void Poll();
    void UpdateCurve();

    std::shared_ptr<CParamList> m_params;
    std::vector<std::unique_ptr<CParamRow>> m_rows;
    CResponseCurve* m_curve = nullptr;
    QTimer* m_poll = nullptr;
};

} // namespace tp
