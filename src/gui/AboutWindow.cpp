#include "gui/AboutWindow.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

} // namespace

QPixmap CAboutWindow::Emblem(int size, qreal ratio) {
    QPixmap pixmap(QSize(size, size) * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF tile(1, 1, size - 2, size - 2);
    QLinearGradient sea(tile.topLeft(), tile.bottomLeft());
    sea.setColorAt(0.0, QColor(0x2b, 0x7a, 0xb8));
    sea.setColorAt(1.0, QColor(0x14, 0x3d, 0x66));
    painter.setPen(Qt::NoPen);
    painter.setBrush(sea);
    painter.drawRoundedRect(tile, size * 0.18, size * 0.18);
    // A swelling and ebbing wave across the tile: the document's plot in small.
    QPainterPath wave;
    const double left = size * 0.14;
    const double width = size * 0.72;
    const double middle = size * 0.5;
    for (int i = 0; i <= 96; ++i) {
        const double t = i / 96.0;
        const double swell = std::sin(M_PI * t);
        const double y = middle - std::sin(t * 2 * M_PI * 4.5) * swell * size * 0.28;
        if (i == 0)
            wave.moveTo(left + t * width, y);
        else
            wave.lineTo(left + t * width, y);
    }
    painter.setPen(QPen(QColor(0xe8, 0xf4, 0xff), size * 0.045, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(wave);
    painter.setPen(QPen(QColor(255, 255, 255, 90), size * 0.02));
    painter.drawLine(QPointF(left, middle), QPointF(left + width, middle));
    return pixmap;
}

CAboutWindow::CAboutWindow(const CDialogSnapshot& snapshot, QWidget* parent)
    : CAppDialogWindow(snapshot, parent) {
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(20, 20, 20, 14);
    outer->setSpacing(14);

    auto* top = new QHBoxLayout;
    top->setSpacing(18);
    auto* emblem = new QLabel(this);
    emblem->setPixmap(Emblem(72, devicePixelRatioF()));
    emblem->setAlignment(Qt::AlignTop);
    top->addWidget(emblem, 0, Qt::AlignTop);

    auto* words = new QVBoxLayout;
    words->setSpacing(4);
    m_product = new QLabel(this);
    QFont big = m_product->font();
    big.setPointSizeF(big.pointSizeF() * 1.8);
    big.setBold(true);
    m_product->setFont(big);
    m_product->setObjectName("product");
    words->addWidget(m_product);
    m_version = new QLabel(this);
    m_version->setObjectName("version");
    m_version->setTextInteractionFlags(Qt::TextSelectableByMouse);
    words->addWidget(m_version);
    words->addSpacing(6);
    m_description = new QLabel(this);
    m_description->setWordWrap(true);
    m_description->setObjectName("description");
    words->addWidget(m_description);
    top->addLayout(words, 1);
    outer->addLayout(top);

    m_librariesTitle = new QLabel(this);
    QFont bold = m_librariesTitle->font();
    bold.setBold(true);
    m_librariesTitle->setFont(bold);
    outer->addWidget(m_librariesTitle);
    m_libraries = new QTreeWidget(this);
    m_libraries->setObjectName("libraries");
    m_libraries->setRootIsDecorated(false);
    m_libraries->setSelectionMode(QAbstractItemView::NoSelection);
    m_libraries->setFocusPolicy(Qt::NoFocus);
    m_libraries->setAlternatingRowColors(true);
    m_libraries->header()->setStretchLastSection(true);
    outer->addWidget(m_libraries);
    outer->addStretch(1);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    buttons->button(QDialogButtonBox::Ok)->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    outer->addWidget(buttons);

    Refresh();
    resize(520, sizeHint().height());
}

void CAboutWindow::Refresh() {
    if (const CDialogField* product = FindField("product"))
        m_product->setText(Q(product->value));
    if (const CDialogField* version = FindField("version"))
        m_version->setText(Q(version->label + " " + version->value));
    if (const CDialogField* description = FindField("description"))
        m_description->setText(Q(description->value));
    const CDialogField* libraries = FindField("libraries");
    m_librariesTitle->setVisible(libraries != nullptr);
    m_libraries->setVisible(libraries != nullptr);
    if (libraries == nullptr)
        return;
    m_librariesTitle->setText(Q(libraries->label));
    m_libraries->clear();
    QStringList headers;
    for (const std::string& column : libraries->columns)
        headers << Q(column);
    m_libraries->setHeaderLabels(headers);
    for (const std::vector<std::string>& row : libraries->rows) {
        QStringList cells;
        for (const std::string& cell : row)
            cells << Q(cell);
        m_libraries->addTopLevelItem(new QTreeWidgetItem(cells));
    }
    m_libraries->resizeColumnToContents(0);
    m_libraries->setColumnWidth(0, m_libraries->columnWidth(0) + 24);
    // Tall enough for every library, no emptier: the box grows with the list instead.
    const int rows = m_libraries->topLevelItemCount();
    // Before the window shows an item has no place yet: the font's height stands in for its row.
    int row = m_libraries->fontMetrics().height() + 4;
    if (rows > 0)
        row = std::max(row, m_libraries->visualItemRect(m_libraries->topLevelItem(0)).height());
    m_libraries->setFixedHeight(m_libraries->header()->sizeHint().height() + rows * row +
                                2 * m_libraries->frameWidth() + 4);
}

} // namespace tw
