#pragma once

#include "Varnel/Models/StoreConnection.h"
#include "Varnel/Models/StoreRepair.h"

#include <QDateTime>

namespace Varnel {

// Copies what reads of a damaged store into an empty one, rows under their numbers, and makes the search index. Lines
// and voices of a meeting that is lost get a new meeting with the title "Recovered meeting", begun `now`. Adds to the
// report. Throws StoreError for what is no damage, and for failures of the new store.
void salvage(StoreConnection& damaged, StoreConnection& fresh, const QDateTime& now, StoreRepair::Report& report);

} // namespace Varnel
