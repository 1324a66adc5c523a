#pragma once
// A window as a screen shows it at a scale, and its PNG in the build's test-output/ for a person
// to look at. A window of a fixed size is not made larger by the operator: a desktop set to 150 %
// draws each of its pixels on one and a half of the screen's, as Qt does with a device pixel
// ratio of 1.5, and that is what a snapshot at 1.5 is.

#include <QColor>
#include <QImage>
#include <QRect>
#include <QSize>
#include <QWidget>
#include <filesystem>
#include <string>
#include "tests/testlib/test_paths.h"

namespace tw::test {

// The window drawn at a scale (1 at 100 %): its size times the scale in pixels, its places and
// texts where they are at 100 %.
inline QImage snapshot(QWidget& window, double scale) {
    QImage image(window.size() * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    window.render(&image);
    return image;
}

// Saves an image as test-output/<stem>-<width>x<height>.png (its pixels) and reads it back; a
// null image when it could not be written.
inline QImage savePng(const QImage& image, const std::string& stem) {
    const std::filesystem::path folder = std::filesystem::path(test::binaryDir()) / "test-output";
    std::filesystem::create_directories(folder);
    const std::filesystem::path file = folder / (stem + "-" + std::to_string(image.width()) + "x" +
                                                 std::to_string(image.height()) + ".png");
    std::filesystem::remove(file);
    if (!image.save(QString::fromStdString(file.string()))) {
        return QImage();
    }
    return QImage(QString::fromStdString(file.string()));
}

// How many pixels of the image's outer ring, `width` pixels deep, are not the back colour: what
// a window draws there runs into its edge, or past it and is cut.
inline int inkOnTheEdge(const QImage& image, int width, const QColor& back) {
    const QRect inner = image.rect().adjusted(width, width, -width, -width);
    int ink = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            ink += !inner.contains(x, y) && image.pixelColor(x, y) != back;
        }
    }
    return ink;
}

}  // namespace tw::test
