// Where pictures of the controls go for a person to look at: $TW_SHOT_DIR when set, else the build's
// output folder.
#pragma once

#include <QDir>
#include <QImage>
#include <QString>

#include <cstdlib>
#include <string>

namespace tw::test {

inline bool SaveShot(const QImage& image, const char* name) {
    const char* env = std::getenv("TW_SHOT_DIR");
    const QString folder = env != nullptr && *env != '\0' ? QString::fromLocal8Bit(env)
                                                          : QString(TW_OUTPUT_DIR) + "/screenshots";
    QDir().mkpath(folder);
    return image.save(folder + "/" + name + ".png");
}

} // namespace tw::test
