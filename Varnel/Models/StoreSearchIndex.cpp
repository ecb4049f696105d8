#include "Varnel/Models/StoreSchema.h"

namespace Varnel::StoreSchema {

// Trigrams of the lower-cased texts, by row, without positions: they name candidates, and the rule is tried on the
// rows. SearchIndex keeps them right, one row a statement. Triggers would be safer and cost four times the whole
// insertion, for a trigger's savepoint makes FTS5 write out what it has gathered for each row anew.
const char* const searchIndex = R"sql(
CREATE VIRTUAL TABLE meetingIndex USING fts5(text, content='', columnsize=0, detail=none,
    tokenize='trigram case_sensitive 1');
CREATE VIRTUAL TABLE speakerIndex USING fts5(text, content='', columnsize=0, detail=none,
    tokenize='trigram case_sensitive 1');
CREATE VIRTUAL TABLE segmentIndex USING fts5(text, content='', columnsize=0, detail=none,
    tokenize='trigram case_sensitive 1');
)sql";

} // namespace Varnel::StoreSchema
