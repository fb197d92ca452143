#include "u3d/ContextManager.h"

#include <bit>
#include <new>

#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;

ContextManager::ContextManager() {
    if (!Grow(kInitialSymbols)) {
        // An escape-only context: total 1, nothing else can be coded but through escapes.
        Logger::Log(1, "ContextManager::ContextManager() - OUT OF MEMORY!");
        return;
    }
    frequencies_[0] = 1;
    total_ = 1;
    RebuildTree();
}

uint32_t ContextManager::Cumulative(uint32_t symbol) const {
    if (symbolCount_ == 0) return symbol == 0 ? 0 : 1;
    if (symbol >= symbolCount_) return total_;
    uint32_t sum = 0;
    for (uint32_t i = symbol; i > 0; i &= i - 1) sum += tree_[i];
    return sum;
}

uint32_t ContextManager::FindSymbol(uint32_t target, uint32_t& cumulativeOut) const {
    if (symbolCount_ == 0) {
        cumulativeOut = 0;
        return 0;
    }
    // Descend the tree: the largest prefix of symbols whose frequencies sum to <= target.
    uint32_t position = 0;
    uint32_t remaining = target;
    for (uint32_t step = treeSize_; step != 0; step >>= 1) {
        const uint32_t next = position + step;
        if (next <= treeSize_ && tree_[next] <= remaining) {
            position = next;
            remaining -= tree_[next];
        }
    }
    cumulativeOut = target - remaining;
    return position;
}

void ContextManager::RebuildTree() {
    for (uint32_t i = 1; i <= treeSize_; ++i) tree_[i] = i <= symbolCount_ ? frequencies_[i - 1] : 0;
    for (uint32_t i = 1; i <= treeSize_; ++i) {
        const uint32_t parent = i + (i & (0u - i));
        if (parent <= treeSize_) tree_[parent] = static_cast<uint16_t>(tree_[parent] + tree_[i]);
    }
}

bool ContextManager::Grow(uint32_t newSymbolCount) {
    try {
        frequencies_.resize(newSymbolCount, 0);
        // The tree spans a power of two, so most growth only adds zero slots it already
        // covers; it is rebuilt only when it has to be reallocated.
        const uint32_t newTreeSize = std::bit_ceil(newSymbolCount);
        symbolCount_ = newSymbolCount;
        if (newTreeSize != treeSize_) {
            tree_.assign(size_t(newTreeSize) + 1, 0);
            treeSize_ = newTreeSize;
            RebuildTree();
        }
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void ContextManager::Halve() {
    total_ = 0;
    for (uint32_t s = 0; s < symbolCount_; ++s) {
        frequencies_[s] = static_cast<uint16_t>(frequencies_[s] >> 1);
        total_ += frequencies_[s];
    }
    // The escape must never fall to zero, or unseen values could not be coded any more.
    ++frequencies_[0];
    ++total_;
    RebuildTree();
}

void ContextManager::AddSymbol(uint32_t symbol) {
    if (symbol >= kMaxSymbol) return;
    if (symbolCount_ != 0 && total_ >= kElephant) Halve();
    if (symbol >= symbolCount_) {
        const bool wasEmpty = symbolCount_ == 0;
        if (!Grow(symbol + kInitialSymbols)) {
            Logger::Log(1, "ContextManager::AddSymbol() - OUT OF MEMORY!");
            return;
        }
        if (wasEmpty) {
            frequencies_[0] = 1;
            total_ = 1;
            RebuildTree();
        }
    }
    ++frequencies_[symbol];
    ++total_;
    for (uint32_t i = symbol + 1; i <= treeSize_; i += i & (0u - i)) ++tree_[i];
}

}  // namespace Velmora::U3D
