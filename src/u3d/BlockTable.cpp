#include "u3d/BlockTable.h"

#include <unordered_map>

#include "u3d/BlockBase.h"

namespace Velmora::U3D {

namespace {

const std::unordered_map<uint32_t, std::string>& Table() {
    static const std::unordered_map<uint32_t, std::string> table = {
        {BlockType::Unknown, "Block_Unknown"},
        {BlockType::NewObject, "Block_NewObject"},
        {BlockType::FileHeader, "Block_File_Header"},
        {BlockType::FileReference, "Block_File_Reference"},
        {BlockType::ModifierChain, "Block_File_ModifierChain"},
        {BlockType::PriorityUpdate, "Block_File_PriorityUpdate"},
        {BlockType::NewObjectType, "Block_File_NewObject"},
        {BlockType::GroupNode, "Block_Node_Group"},
        {BlockType::ModelNode, "Block_Node_Model"},
        {BlockType::LightNode, "Block_Node_Light"},
        {BlockType::ViewNode, "Block_Node_View"},
        {BlockType::CLODMeshDeclaration, "Block_Geometry_CLODMeshDeclaration"},
        {BlockType::PointSetDeclaration, "Block_Geometry_PointSetDeclaration"},
        {BlockType::LineSetDeclaration, "Block_Geometry_LineSetDeclaration"},
        {BlockType::CLODBaseMeshContinuation, "Block_Geometry_CLODBaseMeshContinuation"},
        {BlockType::CLODProgressiveMeshContinuation, "Block_Geometry_CLODProgressiveMeshContinuation"},
        {BlockType::PointSetContinuation, "Block_Geometry_PointSetContinuation"},
        {BlockType::LineSetContinuation, "Block_Geometry_LineSetContinuation"},
        {BlockType::Glyph2DModifier, "Block_Modifier_2DGlyph"},
        {BlockType::SubdivisionModifier, "Block_Modifier_SubDivision"},
        {BlockType::AnimationModifier, "Block_Modifier_Animation"},
        {BlockType::BoneWeightModifier, "Block_Modifier_BoneWeight"},
        {BlockType::ShadingModifier, "Block_Modifier_Shading"},
        {BlockType::CLODModifier, "Block_Modifier_CLOD"},
        {BlockType::LightResource, "Block_Resource_Light"},
        {BlockType::ViewResource, "Block_Resource_View"},
        {BlockType::LitTextureShader, "Block_Resource_LitTextureShader"},
        {BlockType::MaterialResource, "Block_Resource_Material"},
        {BlockType::TextureDeclaration, "Block_Resource_TextureDeclaration"},
        {BlockType::MotionResource, "Block_Resource_Motion"},
        {BlockType::TextureContinuation, "Block_Resource_TextureContinuation"},
    };
    return table;
}

}  // namespace

bool LookupBlockType(uint32_t type, uint32_t& keyOut, std::string& nameOut) {
    const auto& table = Table();
    auto it = table.find(type);
    if (it == table.end()) {
        const int32_t signedType = static_cast<int32_t>(type);
        keyOut = (signedType >= 256 && signedType <= 0xFFFFFF) ? BlockType::NewObject : BlockType::Unknown;
        it = table.find(keyOut);
    } else {
        keyOut = type;
    }
    nameOut = it->second;
    return keyOut != 0;
}

}  // namespace Velmora::U3D
