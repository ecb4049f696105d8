#include "Varnel/Models/Record.h"

#include "Varnel/Models/RecordSequence.h"

namespace Varnel {

Record::Record() : sequence_(nextRecordSequence()) {}

} // namespace Varnel
