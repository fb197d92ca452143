// Schemas as the globals and model file sections hold them, and their runs behind entities.

#include <vector>

#include "prc/reader/BitstreamReader.h"
#include "prc/reader/filestructure/EntityTypes.h"
#include "prc/reader/schema/SchemaExecutable.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr uint32_t kMinimumTokenBits = 1;

bool IsLookedUpType(uint32_t type) {
    switch (type) {
        case kTypeGraphics:
        case kTypeGlobals:
        case kTypeView:
        case kTypeSceneDisplayParameters:
        case kTypeGeneralTransformation:
        case kTypeCartesianTransformation3D: return true;
        default: return false;
    }
}

FileStructure::GlobalsSection*& GlobalsPointer() {
    static FileStructure::GlobalsSection* current = nullptr;
    return current;
}

}  // namespace

FileStructure::GlobalsSection* BitstreamReader::CurrentGlobals() { return GlobalsPointer(); }

void BitstreamReader::SetCurrentGlobals(FileStructure::GlobalsSection* globals) { GlobalsPointer() = globals; }

bool BitstreamReader::ReadSchema(FileStructure::SchemaMap& schemas) {
    const uint32_t numberOfSchemas = ReadUnsignedInteger();
    if (!CountFits(numberOfSchemas, kMinimumTokenBits, "schema")) return false;
    for (uint32_t i = 0; i < numberOfSchemas; ++i) {
        const uint32_t type = ReadUnsignedInteger();
        const uint32_t numberOfTokens = ReadUnsignedInteger();
        if (!CountFits(numberOfTokens, kMinimumTokenBits, "schema token")) return false;
        std::vector<uint32_t> tokens(numberOfTokens);
        for (uint32_t& token : tokens) token = ReadUnsignedInteger();
        if (!IsLookedUpType(type)) Logger::Log(LogLevel::Error, "Warning, schema for not yet implemented type!");
        auto executable = Schema::Executable::Create(tokens);
        if (!executable) {
            Logger::Log(LogLevel::Error, "BitstreamReader::ReadSchema() - Failed to create executable!");
            return false;
        }
        if (!schemas.emplace(type, std::move(executable)).second) return false;
        Logger::Log(LogLevel::Info, "BitstreamReader::ReadSchema() - added schema for type %u [%u tokens]", type,
                    numberOfTokens);
    }
    return true;
}

SchemaResult BitstreamReader::RunSchema(uint32_t type) {
    FileStructure::GlobalsSection* globals = CurrentGlobals();
    if (!globals) return SchemaResult::NoSchema;
    const auto it = globals->schemas.find(type);
    if (it == globals->schemas.end() || !it->second) return SchemaResult::NoSchema;
    return it->second->Run(*this) ? SchemaResult::Passed : SchemaResult::Failed;
}

bool BitstreamReader::ReadSchemaTail(uint32_t type) { return RunSchema(type) != SchemaResult::Failed; }

}  // namespace Velmora::PRC
