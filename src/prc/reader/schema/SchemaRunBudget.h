#pragma once
// Loop passes left to a running schema. A hostile schema can ask for billions of passes of a
// body that reads nothing; each run gets a budget of passes in proportion to the data left,
// and a run that spends it fails.

#include <cstdint>

namespace Velmora::PRC::Schema {

class RunBudget {
public:
    static constexpr uint64_t kMinimumPasses = 1u << 20;
    static void Reset(uint64_t passes);
    // False (with a message) once the budget is spent.
    static bool Take();

private:
    static uint64_t& Left();
};

}  // namespace Velmora::PRC::Schema
