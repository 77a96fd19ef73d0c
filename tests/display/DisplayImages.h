// Helpers of the display tests: blank canvases, pixel reads, and the folder where pictures a person
// should look at are written.
#pragma once

#include <QDir>
#include <QImage>
#include <QRect>
#include <QString>

#include <string>

namespace tw::test {

inline QImage Canvas(int w, int h, QRgb fill = 0xFF000000u) {
    QImage image(w, h, QImage::Format_RGB32);
    image.fill(fill);
    return image;
}

inline QRgb At(const QImage& image, int x, int y) {
    return image.pixel(x, y) | 0xFF000000u;
}

// The bounding box of the pixels inside `area` that differ from `background`.
inline QRect Inked(const QImage& image, QRgb background, QRect area = QRect()) {
    if (area.isNull())
        area = image.rect();
    QRect box;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            if (At(image, x, y) != background)
                box = box.united(QRect(x, y, 1, 1));
    return box;
}

// Writes `image` as <output>/display-images/<name>.png; true when written.
inline bool SaveDisplayImage(const QImage& image, const std::string& name) {
    const QString folder = QString(TW_OUTPUT_DIR) + "/display-images";
    QDir().mkpath(folder);
    return image.save(folder + "/" + QString::fromStdString(name) + ".png");
}

} // namespace tw::test
