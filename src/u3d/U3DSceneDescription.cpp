#include "u3d/U3DSceneDescription.h"

#include <algorithm>
#include <charconv>

#include "format/PDFHelper.h"
#include "rendering/CameraController.h"
#include "rendering/LightingSchemeManager.h"
#include "rendering/MathUtil.h"
#include "rendering/RenderView.h"
#include "rendering/SceneGraph.h"
#include "rendering/SceneManager.h"
#include "util/Logger.h"
#include "util/SceneParameters.h"

namespace Velmora::U3D {

using FormatGlue::DictionaryValue;
using FormatGlue::PDFHelper;
using Utility::Logger;
using Utility::LogLevel;
using Tag = DictionaryValue::Tag;

namespace {

// Fields of view are in degrees, up to a half turn.
constexpr float kMaxFieldOfView = 180.0f;

DictionaryValue NameValue(const std::string& text) {
    DictionaryValue value;
    value.tag = Tag::Name;
    value.text = text;
    return value;
}

DictionaryValue StringValue(const std::string& text) {
    DictionaryValue value;
    value.tag = Tag::String;
    value.text = text;
    return value;
}

DictionaryValue FloatValue(float number) {
    DictionaryValue value;
    value.tag = Tag::Float;
    value.floatValue = number;
    return value;
}

DictionaryValue DictionaryOf(Dictionary dictionary) {
    DictionaryValue value;
    value.tag = Tag::DictionaryTag;
    value.dictionaries.push_back(std::move(dictionary));
    return value;
}

}  // namespace

bool U3DSceneDescription::CreateFromFile(const std::string& path) {
    Dictionary dictionary;
    PDFHelper helper;
    if (!helper.ReadDictionaryFromFile(path, &dictionary)) {
        Logger::Log(LogLevel::Warning, "Failed to create dictionary from file '%s'", path.c_str());
        return false;
    }
    if (!Create(dictionary)) {
        Logger::Log(LogLevel::Warning, "Failed to extract dictionary from file '%s'", path.c_str());
        return false;
    }
    return true;
}

bool U3DSceneDescription::CreateFromString(const std::string& text) {
    Dictionary dictionary;
    PDFHelper helper;
    if (!helper.ReadDictionaryFromString(text, &dictionary)) return false;
    return Create(dictionary);
}

namespace {

// Only the solid mode is drawn; other modes are reported and read as solid.
void CheckRenderMode(const Dictionary& dictionary) {
    const DictionaryValue* rm = dictionary.Find("RM");
    if (rm == nullptr) return;
    const Dictionary* renderModeInfo = rm->AsDictionary();
    if (renderModeInfo == nullptr) {
        Logger::Log(LogLevel::Warning, "RenderModeInfo has invalid type!");
        return;
    }
    const DictionaryValue* subtype = renderModeInfo->Find("Subtype", Tag::Name);
    if (subtype == nullptr) {
        Logger::Log(LogLevel::Error, "Cannot find or invalid 'Subtype' entry for RenderMode info!");
        return;
    }
    Logger::Log(LogLevel::Verbose, "RenderMode subtype: '%s'", subtype->text.c_str());
    if (subtype->text != "Solid") Logger::Log(LogLevel::Warning, "Only 'Solid' RenderMode supported for now!");
}

// The node array is not used; only its type is checked.
void CheckNodeArray(const Dictionary& dictionary) {
    if (const DictionaryValue* na = dictionary.Find("NA")) {
        if (na->tag != Tag::DictionaryArray) Logger::Log(LogLevel::Warning, "Node Array has invalid type!");
    }
}

}  // namespace

bool U3DSceneDescription::Create(const Dictionary& dictionary) {
    if (dictionary.Empty()) return false;
    if (Logger::Passes(LogLevel::ExtraVerbose)) {
        Logger::Log(LogLevel::ExtraVerbose, "Creating scene description from %s",
                    PDFHelper::PrintDictionary(dictionary, "").c_str());
    }
    if (!ReadNameAndViewport(dictionary)) return false;
    ReadBackground(dictionary);
    if (const DictionaryValue* co = dictionary.Find("CO", Tag::Float)) {
        centerOfOrbit = co->floatValue;
        hasCenterOfOrbit = true;
    }
    CheckRenderMode(dictionary);
    ReadLightingScheme(dictionary);
    ReadProjection(dictionary);
    if (!ReadCameraSource(dictionary)) return false;
    CheckNodeArray(dictionary);
    return true;
}

bool U3DSceneDescription::ReadNameAndViewport(const Dictionary& dictionary) {
    const DictionaryValue* xn = dictionary.Find("XN", Tag::String);
    if (xn == nullptr) {
        Logger::Log(LogLevel::Error, "Missing (required) 'XN' entry in scene description - ignored!");
        return false;
    }
    viewName = xn->text;
    const DictionaryValue* rect = dictionary.Find("3DB", Tag::Rectangle);
    if (rect == nullptr) {
        Logger::Log(LogLevel::Error, "Missing (required) '3DB' entry in scene description - ignored!");
        return false;
    }
    std::copy_n(rect->numbers.begin(), viewport.size(), viewport.begin());
    return true;
}

void U3DSceneDescription::ReadBackground(const Dictionary& dictionary) {
    const DictionaryValue* bg = dictionary.Find("BG");
    if (bg == nullptr) return;
    const Dictionary* background = bg->AsDictionary();
    if (background == nullptr) {
        Logger::Log(LogLevel::Warning, "BackgroundInfo has invalid type!");
        return;
    }
    backgroundColor = {1.0f, 1.0f, 1.0f};
    if (const DictionaryValue* color = background->Find("C")) {
        if (color->tag == Tag::Color) {
            std::copy_n(color->numbers.begin(), backgroundColor.size(), backgroundColor.begin());
        } else {
            Logger::Log(LogLevel::Warning, "BackgroundInfo has invalid color info!");
        }
    }
}

void U3DSceneDescription::ReadLightingScheme(const Dictionary& dictionary) {
    const DictionaryValue* ls = dictionary.Find("LS");
    if (ls == nullptr) return;
    const Dictionary* schemeInfo = ls->AsDictionary();
    if (schemeInfo == nullptr) {
        Logger::Log(LogLevel::Warning, "LightingScheme has invalid type!");
        return;
    }
    const DictionaryValue* subtype = schemeInfo->Find("Subtype", Tag::Name);
    if (subtype == nullptr) {
        Logger::Log(LogLevel::Error, "Cannot find or invalid 'Subtype' entry for LightingScheme info!");
        return;
    }
    lightingScheme = subtype->text;
    Logger::Log(LogLevel::Verbose, "LightingScheme subtype: '%s'", lightingScheme.c_str());
}

void U3DSceneDescription::ReadProjection(const Dictionary& dictionary) {
    const DictionaryValue* p = dictionary.Find("P");
    if (p == nullptr) return;
    const Dictionary* projection = p->AsDictionary();
    if (projection == nullptr) {
        Logger::Log(LogLevel::Warning, "Projection has invalid type!");
        return;
    }
    const DictionaryValue* subtype = projection->Find("Subtype", Tag::Name);
    if (subtype == nullptr) {
        Logger::Log(LogLevel::Error, "Cannot find or invalid 'Subtype' entry for Projection info!");
    } else {
        orthographic = subtype->text == "O";
    }
    if (!orthographic) {
        const DictionaryValue* fov = projection->Find("FOV", Tag::Float);
        if (fov == nullptr) {
            Logger::Log(LogLevel::Error, "Projection mode requires FOV, no valid FOV found!");
        } else {
            fieldOfView = std::clamp(fov->floatValue, 0.0f, kMaxFieldOfView);
        }
    }
    if (const DictionaryValue* ps = projection->Find("PS", Tag::ContextSpecific)) ReadProjectionScaling(ps->text);
    if (orthographic) {
        if (const DictionaryValue* os = projection->Find("OS", Tag::Float)) orthoScale = os->floatValue;
    }
    if (const DictionaryValue* ob = projection->Find("OB", Tag::Name)) orthoBinding = ob->text;
    const DictionaryValue* cs = projection->Find("CS", Tag::Name);
    if (cs != nullptr && cs->text == "XNF") {
        hasClipping = true;
        if (const DictionaryValue* n = projection->Find("N", Tag::Float)) nearClip = n->floatValue;
        if (const DictionaryValue* f = projection->Find("F", Tag::Float)) farClip = f->floatValue;
    }
    hasProjection = true;
}

// "PS" is a name (/W, /H, /Min, /Max) or a number.
void U3DSceneDescription::ReadProjectionScaling(const std::string& text) {
    if (!text.empty() && text[0] == '/') {
        const std::string mode = text.substr(1);
        if (mode == "W")
            projectionScaling = Width;
        else if (mode == "H")
            projectionScaling = Height;
        else if (mode == "Min")
            projectionScaling = Min;
        else if (mode == "Max")
            projectionScaling = Max;
        return;
    }
    projectionScaling = Number;
    std::string_view number = text;
    if (!number.empty() && number.front() == '+') number.remove_prefix(1);
    float value = 0.0f;
    auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
    if (error != std::errc() || end != number.data() + number.size() || number.empty()) {
        Logger::Log(LogLevel::Error, "Projection scaling has an invalid number");
    } else {
        projectionScale = value;
    }
}

// "MS": the camera is an explicit matrix ("M") or a view node of the scene ("U3D").
bool U3DSceneDescription::ReadCameraSource(const Dictionary& dictionary) {
    const DictionaryValue* ms = dictionary.Find("MS", Tag::Name);
    if (ms == nullptr) return true;
    if (ms->text == "M") {
        const DictionaryValue* c2w = dictionary.Find("C2W", Tag::Matrix);
        if (c2w == nullptr) {
            Logger::Log(LogLevel::Error, "'MS' specified 'M' but cannot find 'C2W' entry!");
            return false;
        }
        cameraToWorld = c2w->numbers;
        hasMatrix = true;
    } else if (ms->text == "U3D") {
        const DictionaryValue* path = dictionary.Find("U3DPath", Tag::StringArray);
        if (path == nullptr || path->strings.empty()) {
            Logger::Log(LogLevel::Error, "'MS' specified 'U3D' but cannot find 'U3DPath' entry!");
            return false;
        }
        viewNode = path->strings.front();
        hasViewNode = true;
    }
    return true;
}

namespace {

constexpr float kDegToRad = 0.017453292f;
constexpr float kRadToDeg = 57.295776f;
// A field of view of zero: a right angle across the width.
constexpr float kFallbackFieldOfView = 90.0f;
// Default clipping planes, in radii of the scene's bounding sphere.
constexpr float kFarClipRadii = 100.0f;
constexpr float kNearClipRadii = 0.0001f;
// viewport holds x, y, width, height.
constexpr size_t kViewportHeight = 3;

// Field of view after the view's projection scaling rule; `fov` in degrees.
bool ScaleFieldOfView(U3DSceneDescription::ProjectionScaling mode, float number, float width, float height,
                      float* fov) {
    const float half = *fov / 2.0f * kDegToRad;
    float result = *fov;
    auto fitWidth = [&] { return 2.0f * std::atan((height / 2.0f) / ((width / 2.0f) / std::tan(half))) * kRadToDeg; };
    switch (mode) {
        case U3DSceneDescription::Number:
            if (number > 0.0f) {
                result = 2.0f * std::atan((height / 2.0f) / ((number / 2.0f) / std::tan(half))) * kRadToDeg;
                Logger::Log(LogLevel::Warning, "Projection Scale: UNTESTED SETTING with 'PS_Number'! CHECK RESULT!");
            }
            break;
        case U3DSceneDescription::Width: result = fitWidth(); break;
        case U3DSceneDescription::Height: break;
        case U3DSceneDescription::Min:
            if (!(width > height)) result = fitWidth();
            break;
        case U3DSceneDescription::Max:
            if (height < width) result = fitWidth();
            break;
        default:
            Logger::Log(LogLevel::Error,
                        "U3DSceneDescription::ApplyToScene: Invalid viewport scaling radius (PS value)");
            return false;
    }
    if (result > 0.0f) *fov = result;
    return true;
}

}  // namespace

bool U3DSceneDescription::ApplyToScene(uint32_t sceneId, bool activate, Rendering::RenderView* view) const {
    std::shared_ptr<Rendering::SceneGraph> scene = Rendering::SceneManager::Instance().GetScene(sceneId);
    if (!scene || view == nullptr) return false;
    Rendering::CameraInfo camera;
    if (!StartCamera(*scene, activate, camera)) return false;
    Rendering::CameraController& controller = view->GetCameraController();
    if (!camera.isDefault) {
        // A repeated view replaces its former self.
        scene->RemoveCamera(camera.name);
        if (controller.GetCameras().count(camera.name) != 0) controller.RemoveCamera(camera.name);
    }
    if (hasMatrix) PlaceCameraFromMatrix(camera);
    ApplyClipping(*scene, camera);
    if (!ApplyProjection(float(view->GetWidth()), float(view->GetHeight()), camera)) return false;
    if (hasCenterOfOrbit && centerOfOrbit > 0.0f) {
        // The record is in document units, as the centre of orbit is.
        const float distance = centerOfOrbit * 1.0f;
        camera.target = Rendering::MathUtil::Add(camera.eye, Rendering::MathUtil::Mul(camera.orientation[2], distance));
    }
    if (!InstallCamera(*scene, controller, camera)) return false;
    view->SetClearColor({backgroundColor[0], backgroundColor[1], backgroundColor[2]});
    return ApplyLightingScheme(scene->GetResources().lightingSchemeManager);
}

// The camera the description starts from (the view node's, else the default camera's) and
// the name it goes by.
bool U3DSceneDescription::StartCamera(const Rendering::SceneGraph& scene, bool activate,
                                      Rendering::CameraInfo& camera) const {
    const auto& sceneCameras = scene.GetViewNodeCameras();
    auto defaultIt = sceneCameras.find(Rendering::kDefaultCameraName);
    camera = defaultIt != sceneCameras.end() ? defaultIt->second : Rendering::CameraInfo{};

    std::string name;
    if (hasViewNode && !viewNode.empty()) {
        auto it = sceneCameras.find(viewNode);
        if (it == sceneCameras.end()) {
            Logger::Log(LogLevel::Warning, "Cannot find camera info for '%s'", viewNode.c_str());
            Logger::Log(LogLevel::Error, "U3DSceneDescription::ApplyToScene: Cannot find view node '%s'",
                        viewNode.c_str());
            return false;
        }
        camera = it->second;
        name = it->first;
    } else if (hasMatrix) {
        name = viewName.empty() ? "__GeneratedCamera" : viewName;
    } else {
        Logger::Log(
            LogLevel::Error,
            "U3DSceneDescription::ApplyToScene: Cannot find view node name, and also not using explicit matrix");
        return false;
    }
    const bool isDefault = name == Rendering::kDefaultCameraName;
    // Views read from view files stay apart from the scene's own cameras.
    if (!activate && !isDefault) name += " [ViewFile]";
    camera.name = name;
    camera.isDefault = isDefault;
    return true;
}

void U3DSceneDescription::PlaceCameraFromMatrix(Rendering::CameraInfo& camera) const {
    namespace M = Rendering::MathUtil;
    const auto& m = cameraToWorld;
    camera.eye = {m[12], m[13], m[14]};
    for (int axis = 0; axis < 3; ++axis) camera.orientation[axis] = {m[axis * 4], m[axis * 4 + 1], m[axis * 4 + 2]};
    const float distance = M::Length(camera.eye);
    camera.target = M::Add(camera.eye, M::Mul(camera.orientation[2], distance));
    if (camera.type == Rendering::CameraType::Fixed) camera.type = Rendering::CameraType::Orbit;
}

// Explicit clipping when the description has both planes; otherwise planes around the scene.
void U3DSceneDescription::ApplyClipping(const Rendering::SceneGraph& scene, Rendering::CameraInfo& camera) const {
    namespace M = Rendering::MathUtil;
    if (hasClipping) {
        if (nearClip != 0.0f && farClip != 0.0f) {
            camera.nearClip = nearClip;
            camera.farClip = farClip;
        }
        return;
    }
    const Rendering::SceneBoundingBox& box = scene.GetBoundingBox();
    const float radius = box.valid ? M::Length(M::Sub(box.max, box.min)) * 0.5f : 0.0f;
    if (!(radius > 0.0f)) {
        Logger::Log(LogLevel::Warning,
                    "U3DSceneDescription::ApplyToScene: Cannot get valid default clipping distances for camera");
        return;
    }
    camera.farClip = radius * kFarClipRadii;
    camera.nearClip = radius * kNearClipRadii;
}

bool U3DSceneDescription::ApplyProjection(float width, float height, Rendering::CameraInfo& camera) const {
    if (orthographic) {
        camera.orthographic = true;
        if (orthoScale > 0.0f) camera.orthoZoom = orthoScale;
        if (height > 0.0f) camera.orthoViewHeightFactor = viewport[kViewportHeight] / height;
        return true;
    }
    float fov = fieldOfView;
    ProjectionScaling mode = hasProjection ? projectionScaling : None;
    if (!hasProjection || !(fov > 0.0f && fov < kMaxFieldOfView)) {
        Logger::Log(LogLevel::Warning, "U3DSceneDescription::ApplyToScene: No projection dictionary, correcting FOV");
        const float f = camera.fieldOfView * kDegToRad;
        const float longSide = std::max(width, height), shortSide = std::min(width, height);
        fov = std::atan(longSide / (shortSide / std::tan(f))) * kRadToDeg;
    }
    if (fov == 0.0f) {
        fov = kFallbackFieldOfView;
        mode = Width;
    }
    if (mode != None && !ScaleFieldOfView(mode, projectionScale, width, height, &fov)) return false;
    camera.orthographic = false;
    if (fov > 0.0f && fov <= kMaxFieldOfView) camera.fieldOfView = fov;
    return true;
}

// The default camera is edited in place; any other is added to scene and view. Either way it
// becomes the active one.
bool U3DSceneDescription::InstallCamera(Rendering::SceneGraph& scene, Rendering::CameraController& controller,
                                        const Rendering::CameraInfo& camera) {
    if (camera.isDefault) {
        if (!controller.EditCamera(camera)) {
            Logger::Log(
                LogLevel::Error,
                "U3DSceneDescription::ApplyToScene: Failed to edit default view from provided camera parameters!");
            return false;
        }
    } else if (!scene.AddCamera(camera) || !controller.AddCamera(camera)) {
        Logger::Log(LogLevel::Error,
                    "U3DSceneDescription::ApplyToScene: Failed to create view from provided camera parameters!");
        return false;
    }
    if (!controller.ActivateCamera(camera.name)) {
        Logger::Log(LogLevel::Error, "U3DSceneDescription::ApplyToScene: Failed to activate camera '%s'!",
                    camera.name.c_str());
        return false;
    }
    return true;
}

bool U3DSceneDescription::ApplyLightingScheme(Rendering::LightingSchemeManager& schemes) const {
    using Rendering::LightingScheme::Artwork;
    using Rendering::LightingScheme::CAD;
    std::string scheme = lightingScheme;
    if (scheme.empty()) {
        Logger::Log(LogLevel::Warning,
                    "U3DSceneDescription::ApplyToScene: No Lighting Scheme specified, falling back to default");
        if (schemes.ActivateScheme(Artwork)) {
            scheme = "Artwork";
        } else if (schemes.ActivateScheme(CAD)) {
            scheme = "CAD";
        } else {
            Logger::Log(LogLevel::Error, "Cannot activate fallback lighting scheme!");
            return false;
        }
    }
    uint32_t id = Rendering::LightingSchemeManager::GetLightingSchemeFromName(scheme);
    if (id >= Rendering::LightingScheme::Count) {
        Logger::Log(LogLevel::Warning,
                    "U3DSceneDescription::ApplyToScene: Invalid Lighting Scheme specified, falling back to default");
        id = CAD;
    }
    if (!schemes.ActivateScheme(id) && id != CAD) {
        // The document brought no lights to restore (or the scheme failed): a picture lit by
        // the default scheme beats an unlit silhouette.
        Logger::Log(LogLevel::Warning,
                    "U3DSceneDescription::ApplyToScene: Cannot activate lighting scheme '%s', falling back to default",
                    scheme.c_str());
        schemes.ActivateScheme(CAD);
    }
    return true;
}

namespace {

// ViewParameters.projectionScaling.
constexpr uint32_t kScaleToWidth = 0;
constexpr uint32_t kScaleToHeight = 1;
constexpr uint32_t kScaleToMin = 2;
constexpr uint32_t kScaleToMax = 3;
constexpr uint32_t kScaleToNumber = 4;
// A perspective view without a field of view or camera to take one from.
constexpr float kDefaultFieldOfView = 30.0f;
constexpr float kColorChannelMax = 255.0f;

bool InsertNameAndViewport(const Utility::ViewParameters& params, const ViewportRect& viewport, Dictionary* out) {
    out->Insert("Type", NameValue("3DView"));
    out->Insert("XN", StringValue(!params.viewName.empty()     ? params.viewName
                                  : !params.cameraName.empty() ? params.cameraName
                                                               : Rendering::kDefaultCameraName));
    if (viewport.width == 0.0f || viewport.height == 0.0f) {
        Logger::Log(LogLevel::Error, "CreateDictionaryFromViewParams FAILED - invalid viewport rectangle!");
        return false;
    }
    DictionaryValue rect;
    rect.tag = Tag::Rectangle;
    rect.numbers[0] = 0.0f;
    rect.numbers[1] = 0.0f;
    rect.numbers[2] = viewport.width;
    rect.numbers[3] = viewport.height;
    out->Insert("3DB", rect);
    return true;
}

// backgroundColor is 0x..RRGGBB.
void InsertBackground(const Utility::ViewParameters& params, Dictionary* out) {
    Dictionary background;
    DictionaryValue color;
    color.tag = Tag::Color;
    color.numbers[0] = float((params.backgroundColor >> 16) & 0xFF) / kColorChannelMax;
    color.numbers[1] = float((params.backgroundColor >> 8) & 0xFF) / kColorChannelMax;
    color.numbers[2] = float(params.backgroundColor & 0xFF) / kColorChannelMax;
    background.Insert("C", color);
    out->Insert("BG", DictionaryOf(std::move(background)));
}

// Identifiers past the last scheme a host may ask for mean none.
void InsertLightingScheme(const Utility::ViewParameters& params, Dictionary* out) {
    Dictionary lighting;
    lighting.Insert("Type", NameValue("3DLightingScheme"));
    const uint32_t scheme = params.lightingScheme <= Rendering::LightingScheme::Headlamp
                                ? params.lightingScheme
                                : Rendering::LightingScheme::None;
    std::string schemeName;
    Rendering::LightingSchemeManager::GetLightingSchemeName(scheme, schemeName);
    lighting.Insert("Subtype", NameValue(schemeName));
    out->Insert("LS", DictionaryOf(std::move(lighting)));
}

bool InsertProjection(const Utility::ViewParameters& params, Dictionary* out) {
    using Utility::ViewParameters;
    Dictionary projection;
    if (params.Has(ViewParameters::Orthographic)) {
        projection.Insert("Subtype", NameValue("O"));
        projection.Insert("OS", FloatValue(params.orthoScale));
    } else {
        projection.Insert("Subtype", NameValue("P"));
        float fov = params.fieldOfView;
        if (fov == 0.0f && params.cameraName.empty()) fov = kDefaultFieldOfView;
        projection.Insert("FOV", FloatValue(fov));
        DictionaryValue ps;
        ps.tag = Tag::ContextSpecific;
        switch (params.projectionScaling) {
            case kScaleToWidth: ps.text = "/W"; break;
            case kScaleToHeight: ps.text = "/H"; break;
            case kScaleToMin: ps.text = "/Min"; break;
            case kScaleToMax: ps.text = "/Max"; break;
            case kScaleToNumber: ps.text = fmt::format("{:.9g}", params.projectionScalingValue); break;
            default:
                Logger::Log(LogLevel::Error,
                            "CreateDictionaryFromViewParams FAILED - invalid projection scaling setting!");
                return false;
        }
        projection.Insert("PS", ps);
    }
    if (params.Has(ViewParameters::ExplicitClipping)) {
        projection.Insert("CS", NameValue("XNF"));
        projection.Insert("N", FloatValue(params.nearClip));
        projection.Insert("F", FloatValue(params.farClip));
    } else {
        projection.Insert("CS", NameValue("ANF"));
    }
    out->Insert("P", DictionaryOf(std::move(projection)));
    return true;
}

// An explicit matrix (three columns of four rows, completed with 0, 0, 0, 1), else the named
// camera's view node.
void InsertCameraSource(const Utility::ViewParameters& params, Dictionary* out) {
    if (params.Has(Utility::ViewParameters::ExplicitMatrix)) {
        out->Insert("MS", NameValue("M"));
        DictionaryValue matrix;
        matrix.tag = Tag::Matrix;
        for (int row = 0; row < 4; ++row) {
            for (int column = 0; column < 3; ++column)
                matrix.numbers[row * 4 + column] = params.cameraToWorld[row * 3 + column];
            matrix.numbers[row * 4 + 3] = row == 3 ? 1.0f : 0.0f;
        }
        out->Insert("C2W", matrix);
        return;
    }
    out->Insert("MS", NameValue("U3D"));
    DictionaryValue path;
    path.tag = Tag::StringArray;
    path.strings.push_back(params.cameraName.empty() ? Rendering::kDefaultCameraName : params.cameraName);
    out->Insert("U3DPath", path);
}

}  // namespace

bool CreateDictionaryFromViewParams(const Utility::ViewParameters& params, const ViewportRect& viewport,
                                    Dictionary* out) {
    if (!InsertNameAndViewport(params, viewport, out)) return false;
    InsertBackground(params, out);
    out->Insert("CO", FloatValue(params.centerOfOrbit));
    InsertLightingScheme(params, out);
    if (!InsertProjection(params, out)) return false;
    InsertCameraSource(params, out);
    return true;
}

}  // namespace Velmora::U3D
