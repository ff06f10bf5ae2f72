#include "wizard/ZelProgressBar.h"

#include <QStyleOption>
#include <QStylePainter>
#include <QTimerEvent>
#include <cmath>
#include <numbers>

namespace {

constexpr int frameTime = 25;      // ms
constexpr double roundTrip = 4000; // ms, to the right and back

} // namespace

void ZelProgressBar::paintEvent(QPaintEvent* event) {
    if (minimum() != maximum()) {
        frames.stop();
        QProgressBar::paintEvent(event);
        return;
    }
    if (!frames.isActive()) {
        frames.start(frameTime, this);
        glide.start();
    }
    QStylePainter painter(this);
    QStyleOptionProgressBar option;
    initStyleOption(&option);
    QRect piece = style()->subElementRect(QStyle::SE_ProgressBarContents, &option, this);
    option.rect = style()->subElementRect(QStyle::SE_ProgressBarGroove, &option, this);
    painter.drawControl(QStyle::CE_ProgressBarGroove, option);

    const int way = piece.width() * 3 / 4;
    const double turn = 2 * std::numbers::pi * double(glide.elapsed()) / roundTrip;
    piece.setWidth(piece.width() - way);
    piece.translate(int(way * (1 - std::cos(turn)) / 2), 0);
    // To the style, a full bar of that size.
    option.rect = piece;
    option.minimum = 0;
    option.maximum = option.progress = 1;
    painter.drawControl(QStyle::CE_ProgressBarContents, option);
}

// A bar that nobody sees is not painted and needs no frames.
void ZelProgressBar::timerEvent(QTimerEvent* event) {
    if (event->timerId() != frames.timerId()) {
        QProgressBar::timerEvent(event);
        return;
    }
    if (isVisible())
        update();
    else
        frames.stop();
}
