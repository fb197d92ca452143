#pragma once
// Reads a Wavefront material library into MaterialInfo records of the load's material pool.
// Keywords ignore case; every value is clamped into a fixed range and each clamp is logged.

#include <memory>
#include <string>
#include <string_view>

#include "obj/MaterialInfo.h"
#include "obj/TextScan.h"

namespace Velmora::OBJ {

class AuthorMaterialPool;

class MtlParser {
public:
    explicit MtlParser(AuthorMaterialPool& pool) : pool_(pool) {}

    // Reads the whole file and parses it; false when it cannot be read or holds no material.
    bool ParseFile(const std::string& path);
    // Parses library text; false when the pool is still empty afterwards.
    bool Parse(std::string_view text);

private:
    bool ParseLine(const std::string& keyword);
    bool StartNewMaterial();
    void FinishCurrentMaterial();

    bool ParseColor(MaterialInfo::Color& color);
    bool ParseSpecularExponent();
    bool ParseOpticalDensity();
    bool ParseOpacity();
    bool ParseIlluminationModel();
    bool ParseTextureName(std::string& field);
    bool ParseReflectionMap();

    AuthorMaterialPool& pool_;
    std::unique_ptr<MaterialInfo> current_;
    LineTokens tokens_;
};

}  // namespace Velmora::OBJ
