#include "u3dwriter/U3DWriter.h"

#include <cstdio>
#include <cstring>

namespace U3DWriter {

namespace {
constexpr uint32_t kStaticFull = 1024;
constexpr uint32_t kMaxRange = 17407;
constexpr uint32_t kElephant = 0x1FFF;

uint8_t Reverse8(uint8_t v) {
    uint8_t r = 0;
    for (int b = 0; b < 8; ++b)
        if (v & (1u << b)) r = static_cast<uint8_t>(r | (0x80u >> b));
    return r;
}

void PutU32(std::vector<uint8_t>& out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}
}  // namespace

void BitStreamWriter::EmitBit(uint32_t bit) {
    if ((bitCount_ & 7) == 0) bytes_.push_back(0);
    if (bit) bytes_.back() = static_cast<uint8_t>(bytes_.back() | (1u << (bitCount_ & 7)));
    ++bitCount_;
}

void BitStreamWriter::EncodeRange(uint32_t cumulative, uint32_t frequency, uint32_t total) {
    const uint32_t range = high_ - low_ + 1;
    high_ = low_ - 1 + range * (cumulative + frequency) / total;
    low_ = low_ + range * cumulative / total;
    for (;;) {
        if (((high_ ^ low_) & 0x8000) == 0) {
            const uint32_t bit = high_ >> 15;
            EmitBit(bit);
            for (; underflow_ > 0; --underflow_) EmitBit(bit ^ 1);
            low_ = (low_ << 1) & 0xFFFF;
            high_ = ((high_ << 1) | 1) & 0xFFFF;
        } else if ((low_ & 0x4000) && !(high_ & 0x4000)) {
            ++underflow_;
            low_ = (low_ << 1) & 0x7FFF;
            high_ = ((high_ << 1) | 0x8001) & 0xFFFF;
        } else {
            break;
        }
    }
}

void BitStreamWriter::EncodeStatic(uint32_t context, uint32_t value) {
    const uint32_t total = context - kStaticFull;
    if (value >= total) {
        failed_ = true;
        value = 0;
    }
    EncodeRange(value, 1, total);
}

void BitStreamWriter::Learn(Histogram& h, uint64_t symbol) {
    if (symbol >= 0x10000) return;
    if (h.total >= kElephant) {
        h.total = 0;
        for (uint32_t& f : h.frequencies) {
            f >>= 1;
            h.total += f;
        }
        ++h.frequencies[0];
        ++h.total;
    }
    if (symbol >= h.frequencies.size()) h.frequencies.resize(symbol + 1, 0);
    ++h.frequencies[symbol];
    ++h.total;
}

bool BitStreamWriter::EncodeDynamic(uint32_t context, uint64_t value) {
    Histogram& h = histograms_[context];
    const uint64_t symbol = value + 1;
    if (symbol < h.frequencies.size() && h.frequencies[symbol] > 0) {
        uint32_t cumulative = 0;
        for (uint64_t s = 0; s < symbol; ++s) cumulative += h.frequencies[s];
        EncodeRange(cumulative, h.frequencies[symbol], h.total);
        Learn(h, symbol);
        return false;
    }
    EncodeRange(0, h.frequencies[0], h.total);
    Learn(h, 0);
    return true;
}

void BitStreamWriter::WriteU8(uint8_t value) {
    // At rest this emits the 8 bits of the value from bit 0 up, exactly the raw form.
    EncodeRange(Reverse8(value), 1, 256);
}

void BitStreamWriter::WriteU16(uint16_t value) {
    WriteU8(static_cast<uint8_t>(value));
    WriteU8(static_cast<uint8_t>(value >> 8));
}

void BitStreamWriter::WriteU32(uint32_t value) {
    for (int i = 0; i < 4; ++i) WriteU8(static_cast<uint8_t>(value >> (8 * i)));
}

void BitStreamWriter::WriteU64(uint64_t value) {
    WriteU32(static_cast<uint32_t>(value));
    WriteU32(static_cast<uint32_t>(value >> 32));
}

void BitStreamWriter::WriteF32(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    WriteU32(bits);
}

void BitStreamWriter::WriteF64(double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    WriteU64(bits);
}

void BitStreamWriter::WriteString(std::string_view text) {
    WriteU16(static_cast<uint16_t>(text.size()));
    WriteBytes(text.data(), text.size());
}

void BitStreamWriter::WriteBytes(const void* data, size_t size) {
    const auto* p = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < size; ++i) WriteU8(p[i]);
}

void BitStreamWriter::WriteCompressedU8(uint32_t context, uint8_t value) {
    if (noCompression_ || context == 0 || context >= kMaxRange) return WriteU8(value);
    if (context > kStaticFull) return EncodeStatic(context, value);
    if (EncodeDynamic(context, value)) {
        WriteU8(value);
        Learn(histograms_[context], uint64_t(value) + 1);
    }
}

void BitStreamWriter::WriteCompressedU16(uint32_t context, uint16_t value) {
    if (noCompression_ || context == 0 || context >= kMaxRange) return WriteU16(value);
    if (context > kStaticFull) return EncodeStatic(context, value);
    if (EncodeDynamic(context, value)) {
        WriteU16(value);
        Learn(histograms_[context], uint64_t(value) + 1);
    }
}

void BitStreamWriter::WriteCompressedU32(uint32_t context, uint32_t value) {
    if (noCompression_ || context == 0 || context >= kMaxRange) return WriteU32(value);
    if (context > kStaticFull) return EncodeStatic(context, value);
    if (EncodeDynamic(context, value)) {
        WriteU32(value);
        Learn(histograms_[context], uint64_t(value) + 1);
    }
}

std::vector<uint8_t> BitStreamWriter::Finish() {
    if (!AtRest()) {
        // Emit low in full (its pending underflow bits after the top bit): the zeros behind
        // the block then keep the code exactly at low, inside the final interval.
        const uint32_t top = low_ >> 15;
        EmitBit(top);
        for (; underflow_ > 0; --underflow_) EmitBit(top ^ 1);
        for (int b = 14; b >= 0; --b) EmitBit((low_ >> b) & 1);
        high_ = 0xFFFF;
        low_ = 0;
    }
    return std::move(bytes_);
}

std::vector<uint8_t> FrameBlock(uint32_t type, const std::vector<uint8_t>& data, const std::vector<uint8_t>& meta) {
    std::vector<uint8_t> out;
    PutU32(out, type);
    PutU32(out, static_cast<uint32_t>(data.size()));
    PutU32(out, static_cast<uint32_t>(meta.size()));
    out.insert(out.end(), data.begin(), data.end());
    out.resize(12 + Pad4(static_cast<uint32_t>(data.size())), 0);
    out.insert(out.end(), meta.begin(), meta.end());
    out.resize(12 + Pad4(static_cast<uint32_t>(data.size())) + Pad4(static_cast<uint32_t>(meta.size())), 0);
    return out;
}

std::vector<uint8_t> FileHeaderData(uint32_t profile, uint32_t encoding, double scaleFactor, int16_t versionA,
                                    int16_t versionB) {
    BitStreamWriter w;
    w.WriteI16(versionA);
    w.WriteI16(versionB);
    w.WriteU32(profile);
    w.WriteU32(36);  // declaration size, never checked
    w.WriteU64(0);   // file size, never checked
    w.WriteU32(encoding);
    if (profile & 0x8) w.WriteF64(scaleFactor);
    return w.Finish();
}

void U3DFileWriter::AddBlock(uint32_t type, const std::vector<uint8_t>& data, const std::vector<uint8_t>& meta) {
    AddRaw(FrameBlock(type, data, meta));
}

bool U3DFileWriter::WriteTo(const std::string& path) const {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    const bool ok = std::fwrite(bytes_.data(), 1, bytes_.size(), f) == bytes_.size();
    return std::fclose(f) == 0 && ok;
}

namespace {
void WriteParents(BitStreamWriter& w, const std::vector<ParentEntry>& parents) {
    w.WriteU32(static_cast<uint32_t>(parents.size()));
    for (const ParentEntry& p : parents) {
        w.WriteString(p.name);
        for (float v : p.transform) w.WriteF32(v);
    }
}
}  // namespace

std::vector<uint8_t> GroupNodeBlock(const std::string& name, const std::vector<ParentEntry>& parents) {
    BitStreamWriter w;
    w.WriteString(name);
    WriteParents(w, parents);
    return w.Finish();
}

std::vector<uint8_t> ModelNodeBlock(const std::string& name, const std::vector<ParentEntry>& parents,
                                    const std::string& resource, uint32_t visibility) {
    BitStreamWriter w;
    w.WriteString(name);
    WriteParents(w, parents);
    w.WriteString(resource);
    w.WriteU32(visibility);
    return w.Finish();
}

std::vector<uint8_t> LightNodeBlock(const std::string& name, const std::vector<ParentEntry>& parents,
                                    const std::string& resource) {
    BitStreamWriter w;
    w.WriteString(name);
    WriteParents(w, parents);
    w.WriteString(resource);
    return w.Finish();
}

// ---- point and line sets ----------------------------------------------------------------

std::vector<uint8_t> SetDeclarationBlock(const SetDeclaration& d) {
    BitStreamWriter w;
    w.WriteString(d.name);
    w.WriteU32(0);  // chain index
    w.WriteU32(0);  // reserved
    for (uint32_t v : {d.primitives, d.positions, d.normals, d.diffuse, 0u, 0u, d.shadingCount}) w.WriteU32(v);
    for (uint32_t i = 0; i < d.shadingCount; ++i) {
        w.WriteU32(d.shadingAttributes);
        w.WriteU32(0);  // layers
        w.WriteU32(i);  // shading id
    }
    for (int i = 0; i < 3; ++i) w.WriteU32(1000);  // quality factors
    for (int i = 0; i < 5; ++i) w.WriteF32(d.inverseQuant);
    return w.Finish();
}

SetBlockWriter::SetBlockWriter(const std::string& name, uint32_t start, uint32_t end, bool line, bool diffuse,
                               bool noCompression)
    : writer_(noCompression), line_(line), diffuse_(diffuse) {
    writer_.WriteString(name);
    writer_.WriteU32(0);
    writer_.WriteU32(start);
    writer_.WriteU32(end);
}

void SetBlockWriter::Add(uint32_t r, const SetUpdate& u) {
    constexpr uint32_t kSign = 20, kDelta = 21, kNormalCount = 40, kCount = 1, kShading = 1;
    constexpr uint32_t kColourFlag = 56, kColourSign = 41, kColour = 60;
    constexpr uint8_t kDuplicate = 2;
    writer_.WriteCompressedU32(kStaticFull + (r < 1 ? 1 : r), u.split);
    writer_.WriteCompressedU8(kSign, u.sign);
    for (uint32_t k = 0; k < 3; ++k) writer_.WriteCompressedU32(kDelta + k, u.delta[k]);
    writer_.WriteCompressedU32(kNormalCount, 0);
    writer_.WriteCompressedU32(kCount, u.primitives);
    for (uint32_t i = 0; i < u.primitives; ++i) {
        writer_.WriteCompressedU32(kShading, u.shadingId);
        if (line_) writer_.WriteCompressedU32(kStaticFull + r, u.first);
        for (int end = 0; end < (line_ ? 2 : 1) && diffuse_; ++end) {
            writer_.WriteCompressedU8(kColourFlag, u.diffuseFlag);
            if (u.diffuseFlag & kDuplicate) continue;
            writer_.WriteCompressedU8(kColourSign, 0);
            for (uint32_t k = 0; k < 4; ++k) writer_.WriteCompressedU32(kColour + k, u.color[k]);
        }
    }
}

// ---- RH compressed mesh payloads -----------------------------------------------------------

namespace {
constexpr uint8_t kPlainFloats = 0, kQuantised = 1, kAlphaTheta = 2;
constexpr uint32_t kCountKinds = 6;
}  // namespace

void RHWriter::WriteUx(uint32_t value, uint32_t n) {
    for (uint32_t i = 0; i <= n; ++i) bytes_.push_back(uint8_t(value >> (8 * i)));
}

void RHWriter::WriteF32(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    WriteU32(bits);
}

uint32_t RHWriter::WidthOf(uint32_t value) {
    return value < 0x100 ? 0 : value < 0x10000 ? 1 : value < 0x1000000 ? 2 : 3;
}

void RHWriter::WriteGroupRecord(uint32_t faces, uint32_t reserved, uint8_t hints) {
    const uint32_t first = WidthOf(faces), second = WidthOf(reserved);
    WriteU8(uint8_t(hints | (first << 4) | (second << 2)));
    WriteUx(faces, first);
    WriteUx(reserved, second);
    for (uint32_t i = 0; faces != 0 && i < (faces - 1) / 4; ++i) WriteU8(0xEE);
}

void RHWriter::WriteCounts(uint32_t faces, uint32_t positions, uint32_t normals, uint32_t diffuse, uint32_t specular,
                           uint32_t texCoords) {
    const uint32_t counts[kCountKinds] = {faces, positions, normals, diffuse, specular, texCoords};
    uint32_t width = 0;
    uint8_t present = 0;
    for (uint32_t i = 0; i < kCountKinds; ++i) {
        if (counts[i] == 0) continue;
        present |= uint8_t(1u << i);
        if (WidthOf(counts[i]) > width) width = WidthOf(counts[i]);
    }
    WriteU8(uint8_t(present | (width << 6)));
    for (uint32_t i = 0; i < kCountKinds; ++i)
        if (counts[i] != 0) WriteUx(counts[i], width);
}

void RHWriter::WriteEncoded(uint8_t encoding, const std::vector<uint8_t>& body) {
    const uint32_t width = WidthOf(uint32_t(body.size()));
    WriteU8(uint8_t(encoding | (width << 6)));
    WriteUx(uint32_t(body.size()), width);
    bytes_.insert(bytes_.end(), body.begin(), body.end());
}

std::vector<uint8_t> RHWriter::AllEqualBody(uint32_t value) {
    return {uint8_t(value), uint8_t(value >> 8), uint8_t(value >> 16), uint8_t(value >> 24)};
}

std::vector<uint8_t> RHWriter::NibbleBody(const std::vector<uint32_t>& values) {
    std::vector<uint8_t> body((values.size() + 1) / 2, 0);
    for (size_t i = 0; i < values.size(); ++i) body[i / 2] |= uint8_t((values[i] & 0xF) << ((i & 1) ? 4 : 0));
    return body;
}

std::vector<uint8_t> RHWriter::PlainBody(const std::vector<uint32_t>& values, uint32_t bytesPerValue) {
    std::vector<uint8_t> body;
    for (uint32_t v : values)
        for (uint32_t i = 0; i < bytesPerValue; ++i) body.push_back(uint8_t(v >> (8 * i)));
    return body;
}

void RHWriter::WritePlainFloats(const std::vector<float>& values) {
    WriteU8(kPlainFloats);
    for (float v : values) WriteF32(v);
}

void RHWriter::WriteQuantisedFloats(float lo, float hi, uint32_t quant, uint8_t encoding,
                                    const std::vector<uint8_t>& body) {
    WriteU8(kQuantised);
    WriteF32(lo);
    WriteF32(hi);
    WriteU32(quant);
    WriteEncoded(encoding, body);
}

void RHWriter::WriteQuantisedVec3(const std::array<float, 3>& lo, const std::array<float, 3>& hi, uint32_t quant,
                                  uint8_t encoding, const std::vector<uint8_t>& body) {
    WriteU8(kQuantised);
    for (float v : lo) WriteF32(v);
    for (float v : hi) WriteF32(v);
    WriteU32(quant);
    WriteEncoded(encoding, body);
}

void RHWriter::WriteAlphaTheta(uint32_t quant, uint8_t encoding, const std::vector<uint8_t>& body) {
    WriteU8(kAlphaTheta);
    WriteU32(quant);
    WriteEncoded(encoding, body);
}

std::vector<uint8_t> RHDeclarationBlock(uint32_t declarationBlockType) {
    BitStreamWriter w(true);
    w.WriteString("RHAdobeMeshResource");
    for (int i = 0; i < 4; ++i) w.WriteU8(0);  // modifier type
    w.WriteU32(0x96A804A6);
    w.WriteU16(0x3FB9);
    w.WriteU16(0x43C5);
    for (uint8_t b : {0xB2, 0xDF, 0x2A, 0x31, 0xB5, 0x56, 0x93, 0x40}) w.WriteU8(b);
    w.WriteU32(declarationBlockType);
    w.WriteU32(0);  // continuation types
    w.WriteString("Right Hemisphere Adobe Systems");
    w.WriteU32(0);  // URLs
    w.WriteString("version 1.0");
    return w.Finish();
}

std::vector<uint8_t> RHMeshBlock(const std::string& name, const std::vector<uint8_t>& payload) {
    BitStreamWriter w(true);
    w.WriteString(name);
    w.WriteU32(0);  // chain index
    w.WriteBytes(payload.data(), payload.size());
    return w.Finish();
}

}  // namespace U3DWriter
