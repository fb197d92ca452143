#include "obj/MtlParser.h"

#include <new>
#include <vector>

#include "format/FileReader.h"
#include "obj/AuthorMaterialPool.h"
#include "util/Logger.h"

namespace Velmora::OBJ {

using Utility::Logger;
using Utility::LogLevel;

namespace {
constexpr float kMinSpecularExponent = 0.0f;
constexpr float kMaxSpecularExponent = 1000.0f;
constexpr float kMinOpticalDensity = 0.001f;
constexpr float kMaxOpticalDensity = 10.0f;
constexpr uint32_t kMaxIlluminationModel = 10;
constexpr size_t kColorTokens = 4;
constexpr size_t kValueTokens = 2;
constexpr size_t kReflectionOptionTokens = 4;
}  // namespace

bool MtlParser::ParseFile(const std::string& path) {
    std::vector<uint8_t> bytes;
    if (!FormatGlue::ReadWholeFile(path, bytes)) return false;
    Logger::Log(LogLevel::Info, "AuthoringPool: Successfully loaded raw MTL data from '%s'", path.c_str());
    return Parse(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

bool MtlParser::Parse(std::string_view text) {
    if (text.empty()) return false;
    size_t pos = 0;
    while (pos < text.size()) {
        tokens_.Split(NextLine(text, pos));
        if (tokens_.Empty()) continue;
        if (tokens_[0].front() == '#') continue;
        const std::string keyword = Lowered(tokens_[0]);
        if (!ParseLine(keyword))
            Logger::Log(LogLevel::Error, "MtlParser::Parse() - FAILED TO PARSE LINE '%s'", tokens_.Joined().c_str());
    }
    FinishCurrentMaterial();
    if (pool_.Empty()) {
        Logger::Log(LogLevel::Error, "MtlParser::Parse() - NO MATERIALS PARSED");
        return false;
    }
    return true;
}

bool MtlParser::ParseLine(const std::string& keyword) {
    if (keyword == "newmtl") return StartNewMaterial();
    if (!current_) {
        // Known keywords before the first material have nothing to fill.
        static constexpr const char* kKnown[] = {"ka",     "kd",     "ke",     "e",     "ks",          "ns",
                                                 "ni",     "d",      "tr",     "tf",    "map_ka",      "map_kd",
                                                 "map_ks", "map_ke", "map_ns", "map_d", "map_opacity", "map_bump",
                                                 "bump",   "refl",   "illum"};
        for (const char* known : kKnown)
            if (keyword == known) return false;
        Logger::Log(LogLevel::Error, "MtlParser::Parse() - UNSUPPORTED TOKEN '%s'", keyword.c_str());
        return false;
    }
    MaterialInfo& m = *current_;
    if (keyword == "ka") return ParseColor(m.ambient);
    if (keyword == "kd") return ParseColor(m.diffuse);
    if (keyword == "ke" || keyword == "e") return ParseColor(m.emissive);
    if (keyword == "ks") return ParseColor(m.specular);
    if (keyword == "ns") return ParseSpecularExponent();
    if (keyword == "ni") return ParseOpticalDensity();
    if (keyword == "d" || keyword == "tr") return ParseOpacity();
    if (keyword == "tf") return ParseColor(m.transmissionFilter);
    if (keyword == "map_ka") return ParseTextureName(m.ambientMap);
    if (keyword == "map_kd") return ParseTextureName(m.diffuseMap);
    if (keyword == "map_ks") return ParseTextureName(m.specularMap);
    if (keyword == "map_ke") return ParseTextureName(m.emissiveMap);
    if (keyword == "map_ns") return ParseTextureName(m.specularExponentMap);
    if (keyword == "map_d" || keyword == "map_opacity") return ParseTextureName(m.opacityMap);
    if (keyword == "map_bump" || keyword == "bump") return ParseTextureName(m.bumpMap);
    if (keyword == "refl") return ParseReflectionMap();
    if (keyword == "illum") return ParseIlluminationModel();
    Logger::Log(LogLevel::Error, "MtlParser::Parse() - UNSUPPORTED TOKEN '%s'", keyword.c_str());
    return false;
}

bool MtlParser::StartNewMaterial() {
    if (tokens_.Size() < kValueTokens) return false;
    FinishCurrentMaterial();
    current_.reset(new (std::nothrow) MaterialInfo());
    if (!current_) {
        Logger::Log(LogLevel::Error, "MtlParser::StartNewMaterial()- OUT OF MEMORY");
        return false;
    }
    current_->name = std::string(tokens_[1]);
    return true;
}

void MtlParser::FinishCurrentMaterial() {
    if (!current_) return;
    if (current_->name.empty()) {
        Logger::Log(LogLevel::Warning, "MtlParser::FinishCurrentMaterial() - current material has no name, IGNORED!");
    } else if (!pool_.Add(*current_)) {
        Logger::Log(LogLevel::Error, "MtlParser::FinishCurrentMaterial() - FAILED TO ADD MATERIAL!");
    }
    current_.reset();
}

bool MtlParser::ParseColor(MaterialInfo::Color& color) {
    if (tokens_.Size() < kColorTokens) return false;
    for (size_t i = 0; i < color.size(); ++i) color[i] = FloatOrZero(tokens_[i + 1]);
    return true;
}

bool MtlParser::ParseSpecularExponent() {
    if (tokens_.Size() < kValueTokens) return false;
    float value = FloatOrZero(tokens_[1]);
    if (value < kMinSpecularExponent) {
        Logger::Log(LogLevel::Warning, "MtlParser::ParseSpecularExponent() - Value < 0, clamped to 0");
        value = kMinSpecularExponent;
    } else if (value > kMaxSpecularExponent) {
        Logger::Log(LogLevel::Warning, "MtlParser::ParseSpecularExponent() - Value > 1000, clamped to 1000");
        value = kMaxSpecularExponent;
    }
    current_->specularExponent = value;
    return true;
}

bool MtlParser::ParseOpticalDensity() {
    if (tokens_.Size() < kValueTokens) return false;
    float value = FloatOrZero(tokens_[1]);
    if (value < kMinOpticalDensity) {
        Logger::Log(LogLevel::Warning, "MtlParser::ParseOpticalDensity() - Value < 0.001, clamped to 0.001");
        value = kMinOpticalDensity;
    } else if (value > kMaxOpticalDensity) {
        Logger::Log(LogLevel::Warning, "MtlParser::ParseOpticalDensity() - Value > 10, clamped to 10");
        value = kMaxOpticalDensity;
    }
    current_->opticalDensity = value;
    return true;
}

// "d" and "tr" alike: tr is not inverted, and 0 stands for opaque, as files that write 0 for
// opaque are common.
bool MtlParser::ParseOpacity() {
    if (tokens_.Size() < kValueTokens) return false;
    float value = FloatOrZero(tokens_[1]);
    if (value == 0.0f) {
        Logger::Log(LogLevel::Warning, "Model opacity was set to 0 ('%s') - assuming 1 was expected - OVERRIDDEN",
                    tokens_.Joined().c_str());
        value = 1.0f;
    } else if (value < 0.0f) {
        Logger::Log(LogLevel::Warning, "MtlParser::ParseOpacity() - Value < 0, invalid -> changed to 1");
        value = 1.0f;
    } else if (value > 1.0f) {
        Logger::Log(LogLevel::Warning, "MtlParser::ParseOpacity() - Value > 1, clamped to 1");
        value = 1.0f;
    }
    current_->opacity = value;
    return true;
}

bool MtlParser::ParseIlluminationModel() {
    if (tokens_.Size() < kValueTokens) return false;
    uint32_t value = 0;
    if (!ParseUnsigned(tokens_[1], value)) {
        Logger::LogF(LogLevel::Warning, "Bad lexical cast from '{:s}' - returning 0", tokens_[1]);
        value = 0;
    }
    if (value > kMaxIlluminationModel) {
        Logger::Log(LogLevel::Warning, "MtlParser::ParseIlluminationModel() - Value > 10, clamped to 10");
        value = kMaxIlluminationModel;
    }
    current_->illuminationModel = uint16_t(value);
    return true;
}

bool MtlParser::ParseTextureName(std::string& field) {
    if (tokens_.Size() < kValueTokens) {
        Logger::Log(LogLevel::Warning, "MtlParser::ParseTextureName() - empty name");
        return true;
    }
    std::string name;
    for (size_t i = 1; i < tokens_.Size() && tokens_[i].front() != '#'; ++i) {
        if (!name.empty()) name += ' ';
        name.append(tokens_[i]);
    }
    if (name.empty()) {
        Logger::Log(LogLevel::Warning, "MtlParser::ParseTextureName() - empty name");
        return true;
    }
    field = std::move(name);
    return true;
}

bool MtlParser::ParseReflectionMap() {
    if (tokens_.Size() < kValueTokens) {
        Logger::Log(LogLevel::Warning, "MtlParser::ParseReflectionMap() - empty reflection map");
        return true;
    }
    if (tokens_.Size() < kReflectionOptionTokens || tokens_[1] != "-type" || tokens_[2] != "sphere") {
        Logger::Log(LogLevel::Warning, "MtlParser::ParseReflectionMap() - not yet supported parameters ('%s')",
                    tokens_.Joined().c_str());
        return true;
    }
    if (tokens_.Size() > kReflectionOptionTokens)
        Logger::Log(LogLevel::Warning, "MtlParser::ParseReflectionMap() - not yet supported options ('%s')",
                    tokens_.Joined().c_str());
    current_->reflectionMap = std::string(tokens_[tokens_.Size() - 1]);
    return true;
}

}  // namespace Velmora::OBJ
