#include "u3d/ContextManager.h"

#include <algorithm>
#include <bit>
#include <new>

#include "util/Logger.h"

namespace Velmora::U3D {

using Utility::Logger;
using Utility::LogLevel;

ContextManager::ContextManager() {
    if (!Grow(kInitialSymbols)) {
        // An escape-only context: total 1, nothing else can be coded but through escapes.
        Logger::Log(LogLevel::Error, "ContextManager::ContextManager() - OUT OF MEMORY!");
        return;
    }
    frequencies_[0] = 1;
    total_ = 1;
    RebuildTree();
}

uint32_t ContextManager::Cumulative(uint32_t symbol) const {
    if (symbolCount_ == 0) return symbol == 0 ? 0 : 1;
    if (symbol >= symbolCount_) return total_;
    if (symbol == 0) return 0;
    // The nodes of the plain tree inside the block of symbol - 1, then every block below.
    uint32_t sum = 0;
    uint32_t i = symbol;
    for (; (i & (i - 1)) != 0; i &= i - 1) sum += tree_[i];
    for (; i != 0; i >>= 1) sum += tree_[i];
    return sum;
}

void ContextManager::RebuildTree() {
    // Only the part of the tree over symbols up to the highest one that ever had a count is
    // rebuilt: every node above it covers zero counts only, as it did before. Halving a table stretched by one large
    // escaped value then costs what its live symbols cost.
    const uint32_t limit = std::min(std::bit_ceil(highest_ + 1), treeSize_);
    uint16_t* tree = tree_.data();
    for (uint32_t i = 1; i <= limit; ++i) tree[i] = frequencies_[i - 1];
    for (uint32_t i = 1; i <= limit; ++i) {
        const uint32_t parent = i + (i & (0u - i));
        if (parent <= limit) tree[parent] = static_cast<uint16_t>(tree[parent] + tree[i]);
    }
    // Prefix sums at the powers of two become block sums, from the top down.
    for (uint32_t i = limit; i > 1; i >>= 1) tree[i] = static_cast<uint16_t>(tree[i] - tree[i >> 1]);
    for (uint32_t i = limit * 2; i != 0 && i <= treeSize_; i *= 2) tree[i] = 0;
}

bool ContextManager::Grow(uint32_t newSymbolCount) {
    try {
        // The tables span a power of two, so most growth only uncovers zero slots they
        // already hold; they are rebuilt only when they have to be reallocated.
        const uint32_t newTreeSize = std::bit_ceil(newSymbolCount);
        if (newTreeSize != treeSize_) {
            frequencies_.resize(newTreeSize, 0);
            tree_.assign(size_t(newTreeSize) + 1, 0);
            treeSize_ = newTreeSize;
            symbolCount_ = newSymbolCount;
            RebuildTree();
        }
        symbolCount_ = newSymbolCount;
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void ContextManager::Halve() {
    total_ = 0;
    for (uint32_t s = 0; s <= highest_; ++s) {
        frequencies_[s] = static_cast<uint16_t>(frequencies_[s] >> 1);
        total_ += frequencies_[s];
    }
    // The escape must never fall to zero, or unseen values could not be coded any more.
    ++frequencies_[0];
    ++total_;
    RebuildTree();
    // Symbols seen once drop to zero here, rare large ones among them; later rebuilds then
    // stop at the highest symbol still counted. (Only after this rebuild: it has to clear
    // the nodes of those symbols.)
    while (highest_ > 0 && frequencies_[highest_] == 0) --highest_;
}

void ContextManager::AddSymbolSlow(uint32_t symbol) {
    if (symbol >= kMaxSymbol) return;
    if (symbolCount_ != 0 && total_ >= kElephant) Halve();
    if (symbol >= symbolCount_) {
        const bool wasEmpty = symbolCount_ == 0;
        if (!Grow(symbol + kInitialSymbols)) {
            Logger::Log(LogLevel::Error, "ContextManager::AddSymbol() - OUT OF MEMORY!");
            return;
        }
        if (wasEmpty) {
            frequencies_[0] = 1;
            total_ = 1;
            RebuildTree();
        }
    }
    Increment(symbol);
}

}  // namespace Velmora::U3D
