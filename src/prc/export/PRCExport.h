#pragma once
// Export of a loaded scene as PRC: the model tree under the scene's root becomes product
// occurrences with part definitions and tessellations, materials and textures become the
// globals, and BitstreamWriter serialises the one file structure to a file or to memory.
//
// Export stops at the first fault and nothing is written out; a scene holding a mesh that the
// format's tessellation cannot express (points, lines) is refused whole.

#include <map>
#include <memory>
#include <string>

#include "prc/export/BitstreamWriter.h"
#include "prc/export/ResourceExport.h"
#include "rendering/Model.h"
#include "util/SimpleProfiler.h"

namespace Velmora::PRC {

class PRCExport {
public:
    PRCExport(Rendering::SceneHandle scene, bool useCompression,
              std::shared_ptr<Utility::SimpleProfiler> profile = nullptr);
    PRCExport(const PRCExport&) = delete;
    PRCExport& operator=(const PRCExport&) = delete;

    // Builds the file structure from the scene; the name keeps the established spelling.
    bool WirteFileStructureBlockFromActiveScene();
    bool WriteToFile(const std::string& path);
    bool WriteToMemory(DataChunk& chunk);

    const FileStructureBlock& Block() const { return *block_; }
    const FileStructure::ModelFileSection& ModelFile() const { return modelFile_; }

private:
    bool TraverseTreeFromRoot();
    std::shared_ptr<FileStructure::ProductOccurrence> AddTreeRootNode();
    int32_t AddPartDefinitionToTree(std::shared_ptr<FileStructure::PartDefinition> part);
    bool WriteCurrentModelChildren(const Rendering::Model& model, FileStructure::ProductOccurrence& occurrence,
                                   uint32_t depth);
    int32_t WritePartDefinitionForModel(const Rendering::Model& model, const std::string& name);
    int32_t WriteResourcesForModel(const Rendering::Model& model);
    int32_t WriteTesselationForModel(const Rendering::Mesh& mesh, const Rendering::Model& model);
    bool WriteCompressedTess(const Rendering::Mesh& mesh, const Rendering::Model& model,
                             std::shared_ptr<FileStructure::BaseTessData>& tess);
    bool WriteContent3DTess(const Rendering::Mesh& mesh, const Rendering::Model& model,
                            FileStructure::Content3DTess& tess);
    int32_t CreateShaderResources(const Rendering::Model& model, uint32_t subObject);
    int32_t WriteLineStyle(int32_t material, float opacity, const std::string& name);

    Rendering::SceneHandle scene_;
    bool useCompression_;
    std::shared_ptr<Utility::SimpleProfiler> profile_;
    std::unique_ptr<FileStructureBlock> block_;
    FileStructure::ModelFileSection modelFile_;
    std::unique_ptr<ResourceExport> resources_;
    std::map<const Rendering::Mesh*, int32_t> tessellations_;
    std::map<std::pair<int32_t, uint8_t>, int32_t> lineStyles_;
    const Rendering::Model* lightTree_ = nullptr;
    bool built_ = false;
};

}  // namespace Velmora::PRC
