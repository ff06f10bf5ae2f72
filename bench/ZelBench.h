#pragma once

#include <QAbstractEventDispatcher>
#include <QByteArray>
#include <QElapsedTimer>
#include <QFile>
#include <QList>
#include <QPair>
#include <cstdio>
#include <sys/resource.h>

// Prints the figures of one measurement as a line of JSON, for bench/run.
inline int ZelPrintFigures(const QList<QPair<QByteArray, double>>& figures) {
    QByteArray line;
    for (const auto& [name, value] : figures)
        line +=
            (line.isEmpty() ? "{\"" : ", \"") + name + "\": " + QByteArray::number(value, 'f', 3);
    std::printf("%s}\n", line.constData());
    return 0;
}

// Milliseconds, with their fraction.
inline double ZelElapsed(const QElapsedTimer& timer) {
    return double(timer.nsecsElapsed()) / 1e6;
}

// Milliseconds of processor time that this process has used.
inline double ZelProcessorTime() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    const auto milliseconds = [](const timeval& t) { return t.tv_sec * 1e3 + t.tv_usec / 1e3; };
    return milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
}

// The most memory that this process has held since the last reset, in MiB.
inline double ZelPeakMemory() {
    QFile status("/proc/self/status");
    if (status.open(QIODevice::ReadOnly)) {
        const QList<QByteArray> lines = status.readAll().split('\n');
        for (const QByteArray& line : lines) {
            if (line.startsWith("VmHWM:"))
                return line.mid(6).trimmed().split(' ').first().toDouble() / 1024;
        }
    }
    return 0;
}

inline void ZelResetPeakMemory() {
    QFile file("/proc/self/clear_refs");
    if (file.open(QIODevice::WriteOnly))
        file.write("5");
}

// Handles events until none is left.
inline void ZelSettle() {
    while (QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents)) {
    }
}
