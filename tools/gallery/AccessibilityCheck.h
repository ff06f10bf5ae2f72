#pragma once

#include <QStringList>

class QWidget;

// What assistive technology and the keyboard would not find sensible in a window: objects without a
// name, values that are not told, a focus that jumps about. Each begins with the name of the state.
QStringList accessibilityProblems(const QString& state, const QWidget& window);
