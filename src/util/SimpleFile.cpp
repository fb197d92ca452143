#include "util/SimpleFile.h"

#include <sys/types.h>

#include <cstring>
#include <limits>

#include "util/Strings.h"

namespace Velmora::Utility {

void SimpleFile::Deleter::operator()(SimpleFile* f) const {
    if (f == nullptr) return;
    if (f->file_ != nullptr) std::fclose(f->file_);
    delete f;
}

std::string SimpleFile::ModeFor(uint32_t flags) {
    // Built from one literal: GCC 12 at -O3 misreads an assign-then-append as an overlapping copy.
    const bool binary = (flags & Binary) != 0;
    if (flags & Append) return binary ? "ab" : "a";
    if ((flags & Read) && (flags & Write)) return binary ? "w+b" : "w+";
    if (flags & Read) return binary ? "rb" : "r";
    if (flags & Write) return binary ? "wb" : "w";
    return binary ? "b" : "";
}

std::shared_ptr<SimpleFile> SimpleFile::Open(const std::string& path, uint32_t flags) {
    if (path.empty()) return nullptr;
    const std::string mode = ModeFor(flags);
    if (mode.empty() || mode == "b") return nullptr;
    FILE* file = std::fopen(path.c_str(), mode.c_str());
    if (file == nullptr) return nullptr;
    return std::shared_ptr<SimpleFile>(new SimpleFile(file, flags), Deleter());
}

std::shared_ptr<SimpleFile> SimpleFile::Open(const std::u16string& path, uint32_t flags) {
    return Open(WideToUtf8(path), flags);
}

uint32_t SimpleFile::Size() const {
    if (file_ == nullptr) return 0;
    const off_t position = ftello(file_);
    if (position < 0) return 0;
    if (fseeko(file_, 0, SEEK_END) != 0) return 0;
    const off_t end = ftello(file_);
    fseeko(file_, position, SEEK_SET);
    if (end < 0 || static_cast<uint64_t>(end) > std::numeric_limits<uint32_t>::max()) return 0;
    return static_cast<uint32_t>(end);
}

bool SimpleFile::ReadBytes(void* buffer, uint32_t count) {
    if ((flags_ & (Binary | Read)) != (Binary | Read)) return false;
    if (file_ == nullptr || count == 0 || buffer == nullptr) return false;
    return std::fread(buffer, 1, count, file_) == count;
}

uint32_t SimpleFile::ReadLines(std::vector<std::string>* lines) {
    if (lines == nullptr) return 0;
    if ((flags_ & (Text | Read)) != (Text | Read) || file_ == nullptr) {
        return static_cast<uint32_t>(lines->size());
    }
    lines->clear();
    if (lines->capacity() < 1000) lines->reserve(1000);
    char buffer[8192];
    while (std::fgets(buffer, sizeof(buffer), file_) != nullptr) {
        lines->emplace_back(buffer);
    }
    return static_cast<uint32_t>(lines->size());
}

bool SimpleFile::WriteText(const std::string& text) {
    if ((flags_ & (Text | Write)) != (Text | Write) || file_ == nullptr) return false;
    return Put(text);
}

bool SimpleFile::Put(std::string_view text) {
    if (file_ == nullptr || !(flags_ & (Write | Append))) return false;
    const bool ok = std::fwrite(text.data(), 1, text.size(), file_) == text.size();
    return std::fflush(file_) == 0 && ok;
}

bool SimpleFile::WriteBytes(const void* data, uint32_t count) {
    if (file_ == nullptr || !(flags_ & Binary) || !(flags_ & (Write | Append))) return false;
    if (count == 0) return true;
    if (data == nullptr) return false;
    const bool ok = std::fwrite(data, 1, count, file_) == count;
    return std::fflush(file_) == 0 && ok;
}

std::shared_ptr<DataHolder<uint8_t>> ReadWholeFile(const std::string& path) {
    auto file = SimpleFile::Open(path, SimpleFile::Binary | SimpleFile::Read);
    if (!file) return nullptr;
    const uint32_t size = file->Size();
    if (size == 0) return nullptr;
    auto holder = std::make_shared<DataHolder<uint8_t>>(size);
    if (!file->ReadBytes(holder->Data(), size)) return nullptr;
    return holder;
}

}  // namespace Velmora::Utility
