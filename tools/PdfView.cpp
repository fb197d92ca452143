#include "PdfView.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <vector>

namespace KestrumTool {

namespace {

// Nesting beyond this is cut: resolved references may loop.
constexpr int kMaxDepth = 12;
// A view text takes a few hundred bytes; its values stop far beyond that.
constexpr size_t kMaxViewTextBytes = 64 * 1024;
constexpr size_t kMatrixValues = 12;
constexpr size_t kRectangleValues = 4;
constexpr size_t kColorChannels = 3;
constexpr double kChannelMaximum = 255.0;
constexpr float kDefaultFieldOfView = 30.0f;

// Keys of the view dictionaries that the library reads, per nested dictionary.
struct NestedTable {
    std::string_view key;
    std::vector<std::string_view> known;
};
const std::array<NestedTable, 4>& NestedTables() {
    static const std::array<NestedTable, 4> tables{{
        {"/BG", {"/Type", "/Subtype", "/CS", "/C", "/EA"}},
        {"/LS", {"/Type", "/Subtype"}},
        {"/RM", {"/Type", "/Subtype", "/AC", "/FC", "/O", "/CV"}},
        {"/P", {"/Subtype", "/CS", "/F", "/N", "/FOV", "/PS", "/OS", "/OB"}},
    }};
    return tables;
}

// Top-level keys in the order they are written; /NA and /SA close the text since the reader
// takes array entries only partly.
constexpr std::array<std::string_view, 12> kRootKeys{"/Type", "/XN", "/IN", "/MS", "/C2W", "/U3DPath",
                                                     "/CO",   "/P",  "/BG", "/RM", "/LS",  "/NR"};

// PDF lighting scheme names by the library's scheme number.
constexpr std::array<std::string_view, 12> kLightingSchemes{"None",    "Artwork", "White", "Day",  "Night", "Hard",
                                                            "Primary", "Blue",    "Red",   "Cube", "CAD",   "Headlamp"};

std::string Number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", std::isfinite(value) ? value : 0.0);
    return text;
}

// Numbers the tool computed itself carry single precision only.
std::string Number(float value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.7g", std::isfinite(value) ? static_cast<double>(value) : 0.0);
    return text;
}

// Blanks separate the reader's tokens, so they cannot stand inside a name.
std::string Name(const std::string& name) {
    std::string out;
    for (char c : name) {
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            char code[4];
            std::snprintf(code, sizeof code, "#%02X", static_cast<unsigned char>(c));
            out += code;
        } else {
            out += c;
        }
    }
    return out;
}

std::string String(const std::string& text) {
    std::string out = "(";
    for (char c : text) {
        if (c == '(' || c == ')' || c == '\\') out += '\\';
        out += c;
    }
    return out + ")";
}

const std::vector<std::string_view>* NestedKeys(std::string_view key) {
    for (const NestedTable& table : NestedTables())
        if (table.key == key) return &table.known;
    return nullptr;
}

bool Writable(QPDFObjectHandle value) { return !value.isNull() && !value.isStream(); }

// Writes values as view text within a size budget. Shared references can make a small
// document's objects unfold into an exponential tree of values; past the budget every further
// value is written as null, and arrays and dictionaries stop early, so the text stays well
// formed and bounded.
class ValueWriter {
public:
    explicit ValueWriter(std::string& out) : out_(out) {}

    void Value(QPDFObjectHandle value, const std::vector<std::string_view>* keys, int depth);

private:
    bool Spent() const { return out_.size() >= kMaxViewTextBytes; }
    void Array(QPDFObjectHandle array, int depth);
    void Dictionary(QPDFObjectHandle dictionary, const std::vector<std::string_view>* keys, int depth);

    std::string& out_;
};

void ValueWriter::Value(QPDFObjectHandle value, const std::vector<std::string_view>* keys, int depth) {
    if (Spent() || depth > kMaxDepth || value.isNull() || value.isStream()) {
        out_ += "null";
    } else if (value.isBool()) {
        out_ += value.getBoolValue() ? "true" : "false";
    } else if (value.isInteger()) {
        out_ += std::to_string(value.getIntValue());
    } else if (value.isNumber()) {
        out_ += Number(value.getNumericValue());
    } else if (value.isName()) {
        out_ += Name(value.getName());
    } else if (value.isString()) {
        out_ += String(value.getUTF8Value());
    } else if (value.isArray()) {
        Array(value, depth);
    } else if (value.isDictionary()) {
        Dictionary(value, keys, depth);
    } else {
        out_ += "null";
    }
}

void ValueWriter::Array(QPDFObjectHandle array, int depth) {
    if (array.getArrayNItems() == 0) {
        out_ += "[]";
        return;
    }
    out_ += "[";
    for (QPDFObjectHandle item : array.aitems()) {
        if (Spent()) break;
        out_ += " ";
        Value(item, nullptr, depth + 1);
    }
    out_ += " ]";
}

void ValueWriter::Dictionary(QPDFObjectHandle dictionary, const std::vector<std::string_view>* keys, int depth) {
    out_ += "<<";
    for (auto& [key, value] : dictionary.ditems()) {
        if (Spent()) break;
        if (!Writable(value)) continue;
        if (keys && std::find(keys->begin(), keys->end(), key) == keys->end()) continue;
        out_ += " " + Name(key) + " ";
        Value(value, nullptr, depth + 1);
    }
    out_ += " >>";
}

// Numbers of an array of exactly `count` numbers; false for anything else.
bool Numbers(QPDFObjectHandle array, size_t count, float* out) {
    if (!array.isArray() || static_cast<size_t>(array.getArrayNItems()) != count) return false;
    for (size_t i = 0; i < count; ++i) {
        QPDFObjectHandle item = array.getArrayItem(static_cast<int>(i));
        if (!item.isNumber()) return false;
        out[i] = static_cast<float>(item.getNumericValue());
        if (!std::isfinite(out[i])) return false;
    }
    return true;
}

bool NumberOf(QPDFObjectHandle dictionary, const char* key, float& out) {
    if (!dictionary.isDictionary()) return false;
    QPDFObjectHandle value = dictionary.getKey(key);
    if (!value.isNumber()) return false;
    const float number = static_cast<float>(value.getNumericValue());
    if (!std::isfinite(number)) return false;
    out = number;
    return true;
}

std::string NameOf(QPDFObjectHandle dictionary, const char* key) {
    if (!dictionary.isDictionary()) return {};
    QPDFObjectHandle value = dictionary.getKey(key);
    return value.isName() ? value.getName() : std::string();
}

QPDFObjectHandle DictionaryOf(QPDFObjectHandle dictionary, const char* key) {
    return dictionary.isDictionary() ? dictionary.getKey(key) : QPDFObjectHandle::newNull();
}

void ReadProjection(QPDFObjectHandle projection, PdfViewSettings& settings) {
    settings.fieldOfView = kDefaultFieldOfView;
    if (!projection.isDictionary()) return;
    settings.orthographic = NameOf(projection, "/Subtype") == "/O";
    NumberOf(projection, "/FOV", settings.fieldOfView);
    float scale = 0.0f;
    if (NumberOf(projection, "/OS", scale) && scale > 0.0f) settings.orthoScale = scale;
    QPDFObjectHandle scaling = projection.getKey("/PS");
    if (scaling.isNumber()) {
        settings.scaling = ViewScaling::Number;
        settings.scalingValue = static_cast<float>(scaling.getNumericValue());
    } else if (scaling.isName()) {
        const std::string mode = scaling.getName();
        settings.scaling = mode == "/H"     ? ViewScaling::Height
                           : mode == "/Min" ? ViewScaling::Min
                           : mode == "/Max" ? ViewScaling::Max
                                            : ViewScaling::Width;
    }
    if (NameOf(projection, "/CS") == "/XNF") {
        settings.explicitClipping =
            NumberOf(projection, "/N", settings.nearClip) && NumberOf(projection, "/F", settings.farClip);
    }
}

void ReadBackground(QPDFObjectHandle background, PdfViewSettings& settings) {
    float rgb[kColorChannels] = {};
    if (!background.isDictionary() || !Numbers(background.getKey("/C"), kColorChannels, rgb)) return;
    uint32_t color = 0;
    for (float channel : rgb) {
        const double clamped = std::clamp(static_cast<double>(channel), 0.0, 1.0);
        color = (color << 8) | static_cast<uint32_t>(std::lround(clamped * kChannelMaximum));
    }
    settings.background = color;
    settings.hasBackground = true;
}

void ReadLighting(QPDFObjectHandle lighting, PdfViewSettings& settings) {
    const std::string name = NameOf(lighting, "/Subtype");
    if (name.empty()) return;
    for (size_t i = 0; i < kLightingSchemes.size(); ++i)
        if (name.substr(1) == kLightingSchemes[i]) {
            settings.lightingScheme = static_cast<uint32_t>(i);
            settings.hasLighting = true;
        }
}

bool Usable(const ViewBox& box) {
    return box.width > 0.0f && box.height > 0.0f && std::isfinite(box.width) && std::isfinite(box.height);
}

void ReadCamera(QPDFObjectHandle view, PdfViewSettings& settings) {
    const std::string mode = NameOf(view, "/MS");
    QPDFObjectHandle path = view.getKey("/U3DPath");
    if (path.isArray() && path.getArrayNItems() > 0) path = path.getArrayItem(0);
    if (mode != "/M" && path.isString()) settings.cameraNode = path.getUTF8Value();
    if (settings.cameraNode.empty())
        settings.hasMatrix = Numbers(view.getKey("/C2W"), kMatrixValues, settings.cameraToWorld);
}

}  // namespace

ViewBox AnnotationViewBox(QPDFObjectHandle annotation, QPDFObjectHandle view) {
    float rect[kRectangleValues] = {};
    ViewBox box;
    if (annotation.isDictionary() && (Numbers(annotation.getKey("/3DB"), kRectangleValues, rect) ||
                                      Numbers(annotation.getKey("/Rect"), kRectangleValues, rect))) {
        box.width = std::fabs(rect[2] - rect[0]);
        box.height = std::fabs(rect[3] - rect[1]);
    }
    if (!Usable(box)) box = ViewBox{};
    // A bound projection maps one unit of its picture onto the side it is bound to.
    const std::string binding = NameOf(DictionaryOf(view, "/P"), "/OB");
    float unit = 1.0f;
    if (binding == "/W")
        unit = box.width;
    else if (binding == "/H")
        unit = box.height;
    else if (binding == "/Min")
        unit = std::min(box.width, box.height);
    else if (binding == "/Max")
        unit = std::max(box.width, box.height);
    box.width /= unit;
    box.height /= unit;
    // Sides far apart in size can leave one of them zero or infinite after the scaling.
    return Usable(box) ? box : ViewBox{};
}

std::string ViewName(QPDFObjectHandle view, size_t index) {
    for (const char* key : {"/XN", "/IN"}) {
        QPDFObjectHandle name = DictionaryOf(view, key);
        if (name.isString() && !name.getUTF8Value().empty()) return name.getUTF8Value();
    }
    return "View " + std::to_string(index);
}

std::string WriteViewText(QPDFObjectHandle view, size_t index, const ViewBox& box) {
    std::string out = "<<";
    if (!view.isDictionary()) return out + " /XN " + String(ViewName(view, index)) + " >>";
    ValueWriter writer(out);
    for (std::string_view key : kRootKeys) {
        const std::string k(key);
        QPDFObjectHandle value = view.getKey(k);
        if (key == "/XN") value = QPDFObjectHandle::newUnicodeString(ViewName(view, index));
        if (!Writable(value)) continue;
        out += " " + k + " ";
        writer.Value(value, NestedKeys(key), 0);
        // The box goes right behind the name, as the reader needs both.
        if (key == "/XN") out += " /3DB [ 0 0 " + Number(box.width) + " " + Number(box.height) + " ]";
    }
    QPDFObjectHandle nodes = view.getKey("/NA");
    if (nodes.isArray() && nodes.getArrayNItems() == 0) out += " /NA []";
    QPDFObjectHandle sections = view.getKey("/SA");
    if (sections.isArray()) {
        out += " /SA ";
        writer.Value(sections, nullptr, 0);
    }
    return out + " >>";
}

PdfViewSettings ReadViewSettings(QPDFObjectHandle view, size_t index, const ViewBox& box) {
    PdfViewSettings settings;
    settings.name = ViewName(view, index);
    settings.box = box;
    if (!view.isDictionary()) return settings;
    ReadCamera(view, settings);
    ReadProjection(view.getKey("/P"), settings);
    settings.hasCenterOfOrbit = NumberOf(view, "/CO", settings.centerOfOrbit);
    ReadBackground(view.getKey("/BG"), settings);
    ReadLighting(view.getKey("/LS"), settings);
    return settings;
}

}  // namespace KestrumTool
