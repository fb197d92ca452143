#pragma once
// DataBuffer<T>: a block of rows of equal width, the unit in which vertex and index data travel
// between the staging pools, the GPU meshes and the exporter. T is float for vertices and
// uint32_t for indices. The buffer owns its values; it never shares them with a source.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace Velmora::Rendering {

template <typename T>
class DataBuffer {
public:
    // Copies count * stride values from source, or zero-fills when source is null. Returns an
    // empty pointer when the size overflows or the heap is exhausted; callers log in their own
    // terms ("OUT OF MEMORY").
    static std::shared_ptr<DataBuffer<T>> Create(uint32_t count, uint32_t stride, const T* source = nullptr) {
        const uint64_t elements = uint64_t(count) * uint64_t(stride);
        if (elements > kMaxBytes / sizeof(T)) return {};
        std::unique_ptr<T[]> data(new (std::nothrow) T[size_t(elements)]);
        if (!data && elements != 0) return {};
        if (elements != 0) {
            if (source)
                std::memcpy(data.get(), source, size_t(elements) * sizeof(T));
            else
                std::memset(data.get(), 0, size_t(elements) * sizeof(T));
        }
        std::shared_ptr<DataBuffer<T>> buffer(new (std::nothrow) DataBuffer<T>());
        if (!buffer) return {};
        buffer->count_ = count;
        buffer->stride_ = stride;
        buffer->data_ = std::move(data);
        return buffer;
    }

    uint32_t Count() const { return count_; }
    uint32_t Stride() const { return stride_; }
    size_t ElementCount() const { return size_t(count_) * stride_; }
    size_t ByteSize() const { return ElementCount() * sizeof(T); }

    T* Data() { return data_.get(); }
    const T* Data() const { return data_.get(); }

    // Row i, or null at or past count.
    T* Row(uint32_t i) { return i < count_ ? data_.get() + size_t(i) * stride_ : nullptr; }
    const T* Row(uint32_t i) const { return i < count_ ? data_.get() + size_t(i) * stride_ : nullptr; }

private:
    DataBuffer() = default;

    // One buffer never exceeds what a single GL buffer object may reasonably hold.
    static constexpr uint64_t kMaxBytes = uint64_t(1) << 32;

    uint32_t count_ = 0;
    uint32_t stride_ = 0;
    std::unique_ptr<T[]> data_;
};

}  // namespace Velmora::Rendering
