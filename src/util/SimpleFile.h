#pragma once
// A thin file object over the C stream layer.

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Velmora::Utility {

class SimpleFile {
public:
    enum Flag : uint32_t {
        Text = 1,
        Binary = 2,
        Read = 4,
        Write = 8,
        Append = 16,
    };

    // Opens `path` (UTF-8) with a mode built from the flags: Append gives "a"; else Read with
    // Write gives "w+" (which truncates); else Read gives "r"; else Write gives "w"; then "b"
    // with Binary (text mode is the default of the C layer here). An empty path or a failed
    // open gives null. The shared_ptr's deleter closes the stream.
    static std::shared_ptr<SimpleFile> Open(const std::string& path, uint32_t flags);
    static std::shared_ptr<SimpleFile> Open(const std::u16string& path, uint32_t flags);

    // The fopen mode string Open uses for `flags`.
    static std::string ModeFor(uint32_t flags);

    // Size in bytes, leaving the position where it was; 0 without a stream or at 4 GiB and up.
    uint32_t Size() const;

    // Needs Binary and Read, a stream and count > 0; true if exactly `count` bytes came.
    bool ReadBytes(void* buffer, uint32_t count);

    // Needs Text and Read (otherwise, and without a stream, returns lines->size() untouched).
    // Clears the vector, reserves 1000 lines if it has less room, reads lines of up to 8191
    // characters each (a longer line comes in pieces), keeping line ends. Returns the count.
    uint32_t ReadLines(std::vector<std::string>* lines);

    // Needs Text and Write in the flags (Append alone does not qualify); flushes.
    bool WriteText(const std::string& text);

    // Plain stream write for any stream opened for writing or appending (the log writer uses
    // it on its "at" file); flushes. An addition for the library's own use.
    bool Put(std::string_view text);
    // Binary write: needs Binary and Write or Append; flushes. An addition for the library's own use.
    bool WriteBytes(const void* data, uint32_t count);

    FILE* Handle() const { return file_; }
    uint32_t Flags() const { return flags_; }

    SimpleFile(const SimpleFile&) = delete;
    SimpleFile& operator=(const SimpleFile&) = delete;

private:
    SimpleFile(FILE* file, uint32_t flags) : file_(file), flags_(flags) {}
    ~SimpleFile() = default;
    struct Deleter {
        void operator()(SimpleFile* f) const;
    };

    FILE* file_;
    uint32_t flags_;
};

// Bytes that were read, owned; used as DataHolder<uint8_t> in a shared_ptr.
template <typename T>
class DataHolder {
public:
    DataHolder() = default;
    explicit DataHolder(uint32_t size) : data_(size ? new T[size]() : nullptr), size_(size) {}
    DataHolder(T* adopted, uint32_t size) : data_(adopted), size_(adopted ? size : 0) {}
    ~DataHolder() { delete[] data_; }
    DataHolder(const DataHolder&) = delete;
    DataHolder& operator=(const DataHolder&) = delete;
    DataHolder(DataHolder&& other) noexcept : data_(other.data_), size_(other.size_) {
        other.data_ = nullptr;
        other.size_ = 0;
    }
    DataHolder& operator=(DataHolder&& other) noexcept {
        if (this != &other) {
            delete[] data_;
            data_ = other.data_;
            size_ = other.size_;
            other.data_ = nullptr;
            other.size_ = 0;
        }
        return *this;
    }

    T* Data() { return data_; }
    const T* Data() const { return data_; }
    uint32_t Size() const { return size_; }
    bool Empty() const { return size_ == 0; }
    T& operator[](uint32_t i) { return data_[i]; }
    const T& operator[](uint32_t i) const { return data_[i]; }

private:
    T* data_ = nullptr;
    uint32_t size_ = 0;
};

using ByteHolder = DataHolder<uint8_t>;

// Reads a whole file (binary) into a holder; null when it cannot be opened or read, or is
// empty. An addition for the library's own use.
std::shared_ptr<DataHolder<uint8_t>> ReadWholeFile(const std::string& path);

}  // namespace Velmora::Utility
