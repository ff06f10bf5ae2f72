#pragma once

#include "Snapshot.h"
#include "core/ZelSelectionRules.h"

#include <QJsonObject>

enum class Decision { NotOffered, Proposed, Hidden };

// What the selection page would show on a machine.
struct Forecast {
    ZelOffer offer;
    QStringList issues;
    QList<Decision> decisions; // one for each record
    qint64 needed = 0;         // bytes that have to be free for what is proposed
    bool fits = false;
    QString installProblem; // what the page says beforehand; mostly empty

    // Whether the page turns the user away: there is nothing to choose, or no room for it.
    bool isDeadEnd() const { return offer.chosen.isEmpty() || !fits || !installProblem.isEmpty(); }
};

// What there is to tell of it for programs, without the products.
QJsonObject toJson(const Forecast& forecast);

Forecast forecast(const QList<ZelManifestElement>& manifest, const Snapshot& snapshot);

// "proposed", "hidden" or "not offered".
QString nameOf(Decision decision);
