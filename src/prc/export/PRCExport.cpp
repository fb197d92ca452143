// The tree of an exported scene: occurrences and part definitions from the model tree, and the
// two outputs.

#include "prc/export/PRCExport.h"

#include <fmt/format.h>

#include <new>
#include <vector>

#include "prc/reader/filestructure/EntityTypes.h"
#include "rendering/MathUtil.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "util/Logger.h"

namespace Velmora::PRC {

using namespace FileStructure;
using Utility::Logger;
using Utility::LogLevel;

namespace {

constexpr double kChordRatio = 2000.0;
constexpr double kChordAngle = 40.0;
constexpr const char* kSolidLine = "Solid Line";
constexpr const char* kRootName = "Kestrum Scene";
constexpr const char* kGroupSuffix = "_Group";
constexpr const char* kPartSuffix = "_Part";
constexpr double kUnit = 1.0;
// The root's box spans everything: the widest float, widened to double.
constexpr double kUnboundedBox = static_cast<double>(1e20f);
// A bounding box is the three low values, then the three high ones.
constexpr size_t kAxes = 3;
// The model trees that loaders build are shallow; this only bounds a broken one.
constexpr uint32_t kMaxTreeDepth = 256;
// The file structure's identifier; the reader takes a fourth word above 0x44881C74 as sound.
constexpr UniqueID kFileStructureID{{0x4B657374u, 0x72756D20u, 0x50524320u, 0x6578706Fu}};

std::shared_ptr<GeneralTransformation> LocalTransformation(const Rendering::Model& model) {
    namespace M = Rendering::MathUtil;
    auto transformation = std::make_shared<GeneralTransformation>();
    transformation->matrix = M::Multiply(M::Multiply(M::Translation(model.GetTranslation()), model.GetRotation()),
                                         M::Scale(model.GetScale()));
    return transformation;
}

}  // namespace

PRCExport::PRCExport(Rendering::SceneHandle scene, bool useCompression,
                     std::shared_ptr<Utility::SimpleProfiler> profile)
    : scene_(scene), useCompression_(useCompression), profile_(std::move(profile)) {}

bool PRCExport::WirteFileStructureBlockFromActiveScene() {
    block_ = std::make_unique<FileStructureBlock>();
    if (!block_) {
        Logger::Log(LogLevel::Error, "PRCExport::WirteFileStructureBlockFromActiveScene() - INVALID BLOCK!");
        return false;
    }
    block_->uuid = kFileStructureID;
    block_->globals.base.type = kTypeGlobals;
    block_->tree.base.type = kTypeTree;
    block_->tree.internalData.type = kTypeTreeInternalData;
    block_->tessellation.base.type = kTypeTessellationSection;
    block_->geometry.base.type = kTypeGeometry;
    block_->extraGeometry.base.type = kTypeExtraGeometry;
    modelFile_ = ModelFileSection{};
    modelFile_.base.type = kTypeModelFile;
    modelFile_.unit = kUnit;
    resources_ = std::make_unique<ResourceExport>(scene_, *block_);
    tessellations_.clear();
    lineStyles_.clear();

    block_->globals.tessellationChordRatio = kChordRatio;
    block_->globals.tessellationAngle = kChordAngle;
    LinePattern solid;
    solid.base.type = kTypeLinePattern;
    solid.base.name = kSolidLine;
    block_->globals.linePatterns.push_back(solid);
    Utility::ScopedSubTimer timer(profile_, "TraverseTreeFromRoot");
    built_ = TraverseTreeFromRoot();
    return built_;
}

bool PRCExport::TraverseTreeFromRoot() {
    const std::shared_ptr<Rendering::SceneGraph> scene = Rendering::SceneManager::Instance().GetScene(scene_);
    if (!scene || !scene->GetRootModel()) {
        Logger::Log(LogLevel::Error, "PRCExport::TraverseTreeFromRoot() - INVALID SCENE");
        return false;
    }
    lightTree_ = scene->GetLightModelTree().get();
    std::shared_ptr<ProductOccurrence> root = AddTreeRootNode();
    if (!root) return false;
    if (!WriteCurrentModelChildren(*scene->GetRootModel(), *root, 0)) {
        Logger::Log(LogLevel::Error, "PRCExport::TraverseTreeFromRoot() - Cannot export children");
        return false;
    }
    const auto index = static_cast<int32_t>(block_->tree.productOccurrences.size());
    block_->tree.productOccurrences.push_back(root);
    block_->tree.rootOccurrenceIndex = index;
    block_->tree.nextFreeIndex = index + 1;
    RootOccurrence entry;
    entry.fileStructure = block_->uuid;
    entry.occurrenceIndex = index;
    modelFile_.rootOccurrences.push_back(entry);
    modelFile_.fileStructureIndices.assign(1, 0);
    return true;
}

std::shared_ptr<ProductOccurrence> PRCExport::AddTreeRootNode() {
    auto part = std::make_shared<PartDefinition>();
    part->base.type = kTypePartDefinition;
    part->base.name = std::string(kRootName) + kPartSuffix;
    for (size_t i = 0; i < kAxes; ++i) {
        part->boundingBox[i] = -kUnboundedBox;
        part->boundingBox[i + kAxes] = kUnboundedBox;
    }
    const int32_t partIndex = AddPartDefinitionToTree(part);
    if (partIndex < 0) {
        Logger::Log(LogLevel::Error, "PRCExport::AddTreeRootNode() - Cannot write root part definition");
        return nullptr;
    }
    auto root = std::make_shared<ProductOccurrence>();
    root->base.type = kTypeProductOccurrence;
    root->base.name = kRootName;
    root->partIndex = partIndex;
    return root;
}

int32_t PRCExport::AddPartDefinitionToTree(std::shared_ptr<PartDefinition> part) {
    if (!part || part->base.type != kTypePartDefinition) {
        Logger::Log(LogLevel::Error, "PRCExport::AddPartDefinitionToTree() - INVALID INPUT DATA!");
        return -1;
    }
    block_->tree.partDefinitions.push_back(std::move(part));
    return static_cast<int32_t>(block_->tree.partDefinitions.size() - 1);
}

bool PRCExport::WriteCurrentModelChildren(const Rendering::Model& model, ProductOccurrence& occurrence,
                                          uint32_t depth) {
    if (depth >= kMaxTreeDepth) {
        Logger::Log(LogLevel::Error, "PRCExport::WriteCurrentModelChildren() - model tree nested too deeply");
        return false;
    }
    if (model.GetChildren().empty()) return true;
    // A copy: the walk below must not hold iterators into the map.
    std::vector<std::shared_ptr<Rendering::Model>> children;
    children.reserve(model.GetChildren().size());
    for (const auto& [name, child] : model.GetChildren()) children.push_back(child);

    for (const std::shared_ptr<Rendering::Model>& child : children) {
        if (!child) {
            Logger::Log(LogLevel::Error, "PRCExport::WriteCurrentModelChildren() - UNEXPECTED: Cannot find child");
            return false;
        }
        // Light markers are the viewer's furniture, not part of the document.
        if (child.get() == lightTree_) continue;
        const std::shared_ptr<Rendering::Mesh>& mesh = child->GetMesh();
        const std::string base = mesh && !mesh->GetName().empty() ? mesh->GetName() : child->GetName();
        const std::string suffix = mesh && !base.empty() ? kGroupSuffix : "";
        const std::string name = base + suffix;

        const int32_t partIndex = WritePartDefinitionForModel(*child, name);
        if (partIndex < 0) {
            Logger::Log(LogLevel::Error, "PRCExport::WriteCurrentModelChildren() - Cannot write part definition");
            return false;
        }
        auto childOccurrence = std::make_shared<ProductOccurrence>();
        childOccurrence->base.type = kTypeProductOccurrence;
        childOccurrence->base.name = name;
        childOccurrence->partIndex = partIndex;
        childOccurrence->location = LocalTransformation(*child);
        if (!WriteCurrentModelChildren(*child, *childOccurrence, depth + 1)) {
            Logger::Log(LogLevel::Error, "PRCExport::WriteCurrentModelChildren() - Cannot export children");
            return false;
        }
        occurrence.sons.push_back(static_cast<uint32_t>(block_->tree.productOccurrences.size()));
        block_->tree.productOccurrences.push_back(std::move(childOccurrence));
    }
    return true;
}

int32_t PRCExport::WritePartDefinitionForModel(const Rendering::Model& model, const std::string& name) {
    auto part = std::make_shared<PartDefinition>();
    part->base.type = kTypePartDefinition;
    part->base.name = name + kPartSuffix;
    if (model.GetMesh()) {
        const int32_t tessellation = WriteResourcesForModel(model);
        if (tessellation < 0) {
            Logger::Log(LogLevel::Error, "PRCExport::WritePartDefinitionForModel() - Failed to write mesh resources!");
            return -1;
        }
        Rendering::Vec3 low{}, high{};
        if (model.GetMesh()->GetBoundingBox(low, high))
            for (size_t i = 0; i < kAxes; ++i) {
                part->boundingBox[i] = low[i];
                part->boundingBox[i + kAxes] = high[i];
            }
        auto item = std::make_shared<RI_PolyBrepModel>();
        item->base.name = part->base.name;
        item->tessellationIndex = tessellation;
        part->representationItems.push_back(std::move(item));
    }
    return AddPartDefinitionToTree(std::move(part));
}

int32_t PRCExport::WriteResourcesForModel(const Rendering::Model& model) {
    const int32_t index = WriteTesselationForModel(*model.GetMesh(), model);
    if (index < 0) Logger::Log(LogLevel::Error, "PRCExport::WriteResourcesForModel() - INVALID TESSELATION!");
    return index;
}

bool PRCExport::WriteToFile(const std::string& path) {
    if (!built_ && !WirteFileStructureBlockFromActiveScene()) return false;
    Utility::ScopedSubTimer timer(profile_, "BitstreamWriter::WriteToFile");
    BitstreamWriter writer;
    return writer.Create(block_.get(), &modelFile_) && writer.WriteToFile(path);
}

bool PRCExport::WriteToMemory(DataChunk& chunk) {
    if (!built_ && !WirteFileStructureBlockFromActiveScene()) return false;
    Utility::ScopedSubTimer timer(profile_, "BitstreamWriter::WriteToMemory");
    BitstreamWriter writer;
    return writer.Create(block_.get(), &modelFile_) && writer.WriteToMemory(chunk);
}

}  // namespace Velmora::PRC
