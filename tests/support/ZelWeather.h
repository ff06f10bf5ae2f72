#pragma once

#include "support/ZelTestSupport.h"

// What the tests about bad weather share. The page docs/weather.md holds the expectations: one
// table below each heading, whose first cell names a weather and whose other cells say what a user
// meets in it. The tests run these very tables.

// Fills the test data with the rows below a heading, named by their weather, from the column
// "expected": the other cells, joined with " | ".
void zelWeatherRows(const QString& heading);

// The weather of the row being run.
QString zelWeather();

// The ready scenario of a weather, as an option of the vendor server; none when it needs none.
QStringList zelScenario(const QString& weather);

// Lets the program run from `start` on, until it ends by itself or `zelStop` is called: its exit
// status, or one of the two below.
int zelRun(const std::function<void()>& start);
void zelStop();
constexpr int zelStopped = 1000;
constexpr int zelHung = 1001;

// Runs a program to its end and returns what it wrote; ends the tests when it fails.
QByteArray zelCommand(const QString& program, const QStringList& arguments);

// A free TCP port on the loopback address.
quint16 zelFreePort();
