#include "u3d/ContextManager.h"

#include <new>

#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;

ContextManager::ContextManager() {
    try {
        frequencies_.assign(kInitialSymbols + 8, 0);
        quarterCounts_.assign(kInitialSymbols / 4 + 9, 0);
        symbolCount_ = kInitialSymbols;
        frequencies_[0] = 1;
        quarterCounts_[0] = 1;
    } catch (const std::bad_alloc&) {
        // An escape-only context: total 1, every cumulative frequency 1.
        frequencies_.clear();
        quarterCounts_.clear();
        symbolCount_ = 0;
        Logger::Log(1, "ContextManager::ContextManager() - OUT OF MEMORY!");
    }
}

uint32_t ContextManager::Cumulative(uint32_t symbol) const {
    if (symbolCount_ == 0) return symbol == 0 ? 0 : 1;
    const uint32_t total = quarterCounts_[0];
    if (symbol > symbolCount_) return total;
    const uint32_t quarter = symbol / 4;
    uint32_t cumulative = total - quarterCounts_[quarter];
    for (uint32_t s = quarter * 4; s < symbol; ++s) cumulative += frequencies_[s];
    return cumulative;
}

uint32_t ContextManager::FindSymbol(uint32_t target, uint32_t& cumulativeOut) const {
    if (symbolCount_ == 0) {
        cumulativeOut = 0;
        return 0;
    }
    const uint32_t total = quarterCounts_[0];
    // Largest quarter k whose cumulative start (total - quarterCounts[k]) is <= target.
    // quarterCounts never increases with k and is 0 past the table, so k stays in range.
    uint32_t lo = 0;
    uint32_t hi = symbolCount_ / 4 + 1;
    while (hi - lo > 1) {
        const uint32_t mid = (lo + hi) / 2;
        if (total - quarterCounts_[mid] <= target)
            lo = mid;
        else
            hi = mid;
    }
    uint32_t cumulative = total - quarterCounts_[lo];
    uint32_t symbol = lo * 4;
    const uint32_t last = symbolCount_ + 7;  // frequencies has a zero tail up to here
    while (symbol < last && cumulative + frequencies_[symbol] <= target) {
        cumulative += frequencies_[symbol];
        ++symbol;
    }
    cumulativeOut = cumulative;
    return symbol;
}

bool ContextManager::Grow(uint32_t newSymbolCount) {
    try {
        std::vector<uint16_t> frequencies(newSymbolCount + 8, 0);
        std::vector<uint16_t> quarters(newSymbolCount / 4 + 9, 0);
        for (uint32_t s = 0; s < symbolCount_; ++s) frequencies[s] = frequencies_[s];
        for (uint32_t k = 0; k <= symbolCount_ / 4 && symbolCount_; ++k) quarters[k] = quarterCounts_[k];
        if (symbolCount_ == 0) {
            frequencies[0] = 1;
            quarters[0] = 1;
        }
        frequencies_.swap(frequencies);
        quarterCounts_.swap(quarters);
        symbolCount_ = newSymbolCount;
        return true;
    } catch (const std::bad_alloc&) {
        Logger::Log(1, "ContextManager::AddSymbol() - OUT OF MEMORY!");
        return false;
    }
}

void ContextManager::Halve() {
    const uint32_t quarters = symbolCount_ / 4 + 1;
    for (uint32_t k = 0; k < quarters; ++k) quarterCounts_[k] = 0;
    for (uint32_t s = symbolCount_; s-- > 0;) {
        frequencies_[s] = static_cast<uint16_t>(frequencies_[s] >> 1);
        quarterCounts_[s / 4] = static_cast<uint16_t>(quarterCounts_[s / 4] + frequencies_[s]);
    }
    for (uint32_t k = quarters - 1; k-- > 0;)
        quarterCounts_[k] = static_cast<uint16_t>(quarterCounts_[k] + quarterCounts_[k + 1]);
    // The escape must never fall to zero, or unseen values could not be coded any more.
    ++frequencies_[0];
    ++quarterCounts_[0];
}

void ContextManager::AddSymbol(uint32_t symbol) {
    if (symbol >= kMaxSymbol) return;
    if (symbolCount_ != 0 && quarterCounts_[0] >= elephant_) Halve();
    if (symbol >= symbolCount_ && !Grow(symbol + kInitialSymbols)) return;
    ++frequencies_[symbol];
    for (uint32_t k = 0; k <= symbol / 4; ++k) ++quarterCounts_[k];
}

}  // namespace Velmora::U3D
