#include "prc/reader/schema/SchemaRunBudget.h"

#include "util/Logger.h"

namespace Velmora::PRC::Schema {

using Utility::Logger;
using Utility::LogLevel;

uint64_t& RunBudget::Left() {
    static uint64_t left = 0;
    return left;
}

void RunBudget::Reset(uint64_t passes) { Left() = passes; }

bool RunBudget::Take() {
    if (Left() == 0) {
        Logger::Log(LogLevel::Error, "Schema - loop passes exceed what the data can hold");
        return false;
    }
    --Left();
    return true;
}

}  // namespace Velmora::PRC::Schema
