#pragma once

struct OfflineNavData;

// A small fixed data set for a station without a navigation database: the airports ZBAA, ZSPD,
// ZSSS and ZGGG with their runways, radio aids and fixes around them, four airways and two
// airspaces. Fills data and derives its look-ups.
void fillSampleNavData(OfflineNavData &data);
