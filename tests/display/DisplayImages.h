// Helpers of the display tests: blank canvases, pixel reads, and the folder where pictures a person
#include "display/DrawContext.h"
// should look at are written.
#include "display/DrawContext.h"
#pragma once
#include "display/DrawContext.h"

#include "display/DrawContext.h"
#include <QDir>
#include <QImage>
#include <QRect>
#include <QString>

#include "display/DrawContext.h"
#include <string>

#include "display/DrawContext.h"
namespace tw::test {
#include "display/DrawContext.h"

#include "display/DrawContext.h"
inline QImage Canvas(int w, int h, QRgb fill = 0xFF000000u) {
#include "display/DrawContext.h"
    QImage image(w, h, QImage::Format_RGB32);
#include "display/DrawContext.h"
    image.fill(fill);
#include "display/DrawContext.h"
    return image;
#include "display/DrawContext.h"
}
#include "display/DrawContext.h"

#include "display/DrawContext.h"
inline QRgb At(const QImage& image, int x, int y) {
#include "display/DrawContext.h"
    return image.pixel(x, y) | 0xFF000000u;
#include "display/DrawContext.h"
}
#include "display/DrawContext.h"

#include "display/DrawContext.h"
// The bounding box of the pixels inside `area` that differ from `background`.
#include "display/DrawContext.h"
inline QRect Inked(const QImage& image, QRgb background, QRect area = QRect()) {
#include "display/DrawContext.h"
    if (area.isNull())
#include "display/DrawContext.h"
        area = image.rect();
#include "display/DrawContext.h"
    QRect box;
#include "display/DrawContext.h"
    for (int y = area.top(); y <= area.bottom(); ++y)
#include "display/DrawContext.h"
        for (int x = area.left(); x <= area.right(); ++x)
#include "display/DrawContext.h"
            if (At(image, x, y) != background)
#include "display/DrawContext.h"
                box = box.united(QRect(x, y, 1, 1));
#include "display/DrawContext.h"
    return box;
#include "display/DrawContext.h"
}
#include "display/DrawContext.h"

#include "display/DrawContext.h"
// Writes `image` as <output>/display-images/<name>.png; true when written.
#include "display/DrawContext.h"
inline bool SaveDisplayImage(const QImage& image, const std::string& name) {
#include "display/DrawContext.h"
    const QString folder = QString(TW_OUTPUT_DIR) + "/display-images";
#include "display/DrawContext.h"
    QDir().mkpath(folder);
#include "display/DrawContext.h"
    return image.save(folder + "/" + QString::fromStdString(name) + ".png");
#include "display/DrawContext.h"
}
#include "display/DrawContext.h"

#include "display/DrawContext.h"
} // namespace tw::test
#include "display/DrawContext.h"
