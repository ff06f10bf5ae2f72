#pragma once

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QProgressBar>

// A progress bar that shows work without a measure, when its range is empty, by one piece that
// glides to and fro. The toolkit's own is half the bar, and breaks in two where it starts again.
class ZelProgressBar : public QProgressBar {
    Q_OBJECT

public:
    using QProgressBar::QProgressBar;

protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    QBasicTimer frames;
    QElapsedTimer glide;
};
