#pragma once

#include <QStringList>

class QPalette;
class QWidget;

// The colours of a dark desktop.
QPalette darkPalette();

// What assistive technology and the keyboard would not find sensible in a window: objects without a
// name, values that are not told, a focus that jumps about; and outlines of controls that are too
// faint to see. Each begins with the name of the state.
QStringList accessibilityProblems(const QString& state, const QWidget& window);
