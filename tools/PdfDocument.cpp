#include "PdfDocument.h"

#include <qpdf/Pipeline.hh>
#include <qpdf/Pl_Count.hh>
#include <qpdf/Pl_Discard.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFExc.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <limits>
#include <optional>
#include <stdexcept>

namespace KestrumTool {

namespace {

// A 3D reference dictionary may point to another; real documents use one level.
constexpr int kMaxReferenceDepth = 8;
// The library takes at most a 32-bit byte count; a stream that inflates beyond it is refused
// before it can exhaust memory.
constexpr size_t kMaxSceneBytes = std::numeric_limits<uint32_t>::max();
// One deflate pass expands its input at most 1032 times. Chained filters can go far beyond:
// a few kilobytes of twice-deflated zeros fill gigabytes. No scene compresses that well, so a
// stream may decode to this many times its stored size and no more.
constexpr size_t kMaxInflation = 1032;
// Below this many stored bytes the ratio is not applied, so that tiny streams stay readable.
constexpr size_t kInflationFloorBytes = 4096;
// Real documents hold a few 3D annotations with tens of views each; a catalogue may have one
// on each of its pages. Pages may share one /Annots array and views one long name, so what a
// small document lists can grow as the square of its size; beyond these bounds a document is
// refused before the listing does.
constexpr size_t kMaxAnnotationEntries = size_t(1) << 20;  // of all /Annots arrays together
constexpr size_t kMaxAnnotations = 4096;                   // 3D ones
constexpr size_t kMaxViews = 1024;                         // of one 3D stream
constexpr size_t kMaxListedBytes = size_t(16) << 20;       // all annotation and view names
constexpr char kPdfHeader[] = "%PDF-";
constexpr size_t kHeaderSearchBytes = 1024;

// Collects decoded stream bytes up to a limit; beyond it the decoding is stopped.
class LimitedBuffer : public Pipeline {
public:
    LimitedBuffer(std::vector<uint8_t>& out, size_t limit)
        : Pipeline("kestrum scene", nullptr), out_(out), limit_(limit) {}
    void write(unsigned char const* data, size_t len) override {
        if (len > limit_ - out_.size()) throw std::length_error("3D stream too large");
        out_.insert(out_.end(), data, data + len);
    }
    void finish() override {}

private:
    std::vector<uint8_t>& out_;
    size_t limit_;
};

// The decoded size a stream may reach, after its stored size.
size_t DecodedLimit(QPDFObjectHandle stream) {
    Pl_Discard discard;
    Pl_Count counter("kestrum stored size", &discard);
    stream.pipeStreamData(&counter, 0, qpdf_dl_none, true);
    const size_t stored = std::max(static_cast<size_t>(counter.getCount()), kInflationFloorBytes);
    return stored > kMaxSceneBytes / kMaxInflation ? kMaxSceneBytes : stored * kMaxInflation;
}

QPDFObjectHandle SceneStream(QPDFObjectHandle annotation) {
    QPDFObjectHandle target = annotation.getKey("/3DD");
    for (int depth = 0; depth < kMaxReferenceDepth && target.isDictionary(); ++depth) target = target.getKey("/3DD");
    return target.isStream() ? target : QPDFObjectHandle::newNull();
}

QPDFObjectHandle Views(QPDFObjectHandle stream) {
    if (!stream.isStream()) return QPDFObjectHandle::newArray();
    QPDFObjectHandle views = stream.getDict().getKey("/VA");
    return views.isArray() ? views : QPDFObjectHandle::newArray();
}

bool IsNumber(const std::string& text) {
    return !text.empty() && text.size() < std::numeric_limits<int>::digits10 &&
           text.find_first_not_of("0123456789") == std::string::npos;
}

struct ChosenView {
    QPDFObjectHandle view;
    std::optional<size_t> index;  // in /VA
};

std::optional<ChosenView> ViewAt(QPDFObjectHandle views, size_t index) {
    if (index >= static_cast<size_t>(views.getArrayNItems())) return std::nullopt;
    QPDFObjectHandle view = views.getArrayItem(static_cast<int>(index));
    if (!view.isDictionary()) return std::nullopt;
    return ChosenView{view, index};
}

std::optional<ChosenView> ViewNamed(QPDFObjectHandle views, const std::string& name) {
    const size_t count = static_cast<size_t>(views.getArrayNItems());
    for (size_t i = 0; i < count; ++i) {
        QPDFObjectHandle view = views.getArrayItem(static_cast<int>(i));
        if (!view.isDictionary()) continue;
        QPDFObjectHandle internal = view.getKey("/IN");
        if (ViewName(view, i) == name || (internal.isString() && internal.getUTF8Value() == name))
            return ChosenView{view, i};
    }
    return std::nullopt;
}

// A view given the ways /3DV and /DV may give it: a dictionary, an index or internal name in
// /VA, or first, last or (for /3DV) the stream's default.
std::optional<ChosenView> ResolveView(QPDFObjectHandle given, QPDFObjectHandle stream, bool fromAnnotation) {
    QPDFObjectHandle views = Views(stream);
    if (given.isDictionary()) {
        // The view may be one of /VA given by reference: keep its place for --view listings.
        if (given.isIndirect())
            for (int i = 0; i < views.getArrayNItems(); ++i)
                if (views.getArrayItem(i).getObjGen() == given.getObjGen()) return ChosenView{given, size_t(i)};
        return ChosenView{given, std::nullopt};
    }
    if (given.isInteger() && given.getIntValue() >= 0) return ViewAt(views, static_cast<size_t>(given.getIntValue()));
    if (given.isString()) return ViewNamed(views, given.getUTF8Value());
    if (!given.isName()) return std::nullopt;
    const std::string keyword = given.getName();
    if (keyword == "/F") return ViewAt(views, 0);
    if (keyword == "/L" && views.getArrayNItems() > 0) return ViewAt(views, size_t(views.getArrayNItems() - 1));
    if (keyword == "/D" && fromAnnotation && stream.isStream())
        return ResolveView(stream.getDict().getKey("/DV"), stream, false);
    return std::nullopt;
}

std::optional<ChosenView> DefaultView(QPDFObjectHandle annotation, QPDFObjectHandle stream) {
    QPDFObjectHandle given = annotation.getKey("/3DV");
    if (!given.isNull()) return ResolveView(given, stream, true);
    if (stream.isStream()) return ResolveView(stream.getDict().getKey("/DV"), stream, false);
    return std::nullopt;
}

std::string JoinedViewNames(QPDFObjectHandle views) {
    std::string names;
    for (int i = 0; i < views.getArrayNItems(); ++i)
        names += (i ? ", " : "") + std::to_string(i) + " '" + ViewName(views.getArrayItem(i), size_t(i)) + "'";
    return names;
}

std::optional<SceneStreamType> StreamType(QPDFObjectHandle stream) {
    QPDFObjectHandle subtype = stream.getDict().getKey("/Subtype");
    if (!subtype.isName()) return std::nullopt;
    if (subtype.getName() == "/U3D") return SceneStreamType::U3D;
    if (subtype.getName() == "/PRC") return SceneStreamType::PRC;
    return std::nullopt;
}

std::string StreamTypeText(QPDFObjectHandle stream) {
    if (!stream.isStream()) return "none";
    QPDFObjectHandle subtype = stream.getDict().getKey("/Subtype");
    return subtype.isName() ? subtype.getName().substr(1) : "unknown";
}

// Each format's files begin with its own signature; a stream of another type would be
// handed to the wrong reader.
bool HasSignature(const std::vector<uint8_t>& bytes, SceneStreamType type) {
    static constexpr char kU3D[] = {'U', '3', 'D', '\0'};
    static constexpr char kPRC[] = {'P', 'R', 'C'};
    const char* signature = type == SceneStreamType::U3D ? kU3D : kPRC;
    const size_t length = type == SceneStreamType::U3D ? sizeof kU3D : sizeof kPRC;
    return bytes.size() >= length && std::memcmp(bytes.data(), signature, length) == 0;
}

std::string AnnotationName(QPDFObjectHandle annotation) {
    for (const char* key : {"/NM", "/Contents"}) {
        QPDFObjectHandle name = annotation.getKey(key);
        if (name.isString() && !name.getUTF8Value().empty()) return name.getUTF8Value();
    }
    return {};
}

}  // namespace

const char* StreamTypeName(SceneStreamType type) { return type == SceneStreamType::U3D ? "U3D" : "PRC"; }

struct PdfDocument::Impl {
    QPDF pdf;
    std::string memory;  // the document's bytes when it was opened from memory
    std::vector<QPDFObjectHandle> annotations;
    std::vector<PdfAnnotationInfo> infos;

    template <typename Process>
    bool Load(Process process, std::string& error);
    bool FindAnnotations(std::string& error);
    bool ListAnnotation(QPDFObjectHandle annotation, int pageNumber, size_t& listedBytes, std::string& error);
    bool Decode(QPDFObjectHandle stream, std::vector<uint8_t>& bytes, std::string& error);
};

bool PdfDocument::Impl::FindAnnotations(std::string& error) {
    size_t entries = 0;
    size_t listedBytes = 0;
    int pageNumber = 0;
    for (QPDFPageObjectHelper& page : QPDFPageDocumentHelper(pdf).getAllPages()) {
        ++pageNumber;
        QPDFObjectHandle list = page.getObjectHandle().getKey("/Annots");
        if (!list.isArray()) continue;
        entries += static_cast<size_t>(list.getArrayNItems());
        if (entries > kMaxAnnotationEntries) {
            error = "the document has more than " + std::to_string(kMaxAnnotationEntries) + " annotations";
            return false;
        }
        for (QPDFObjectHandle annotation : list.aitems()) {
            if (!annotation.isDictionary()) continue;
            QPDFObjectHandle subtype = annotation.getKey("/Subtype");
            if (!subtype.isName() || subtype.getName() != "/3D") continue;
            if (infos.size() == kMaxAnnotations) {
                error = "the document has more than " + std::to_string(kMaxAnnotations) + " 3D annotations";
                return false;
            }
            if (!ListAnnotation(annotation, pageNumber, listedBytes, error)) return false;
        }
    }
    return true;
}

bool PdfDocument::Impl::ListAnnotation(QPDFObjectHandle annotation, int pageNumber, size_t& listedBytes,
                                       std::string& error) {
    QPDFObjectHandle stream = SceneStream(annotation);
    QPDFObjectHandle views = Views(stream);
    if (static_cast<size_t>(views.getArrayNItems()) > kMaxViews) {
        error = "a 3D stream has more than " + std::to_string(kMaxViews) + " views";
        return false;
    }
    PdfAnnotationInfo info;
    info.page = pageNumber;
    info.name = AnnotationName(annotation);
    info.streamType = StreamTypeText(stream);
    listedBytes += info.name.size();
    for (int i = 0; i < views.getArrayNItems() && listedBytes <= kMaxListedBytes; ++i) {
        info.viewNames.push_back(ViewName(views.getArrayItem(i), size_t(i)));
        listedBytes += info.viewNames.back().size();
    }
    if (listedBytes > kMaxListedBytes) {
        error = "the names of the document's 3D annotations and views exceed " + std::to_string(kMaxListedBytes >> 20) +
                " MiB";
        return false;
    }
    if (std::optional<ChosenView> chosen = DefaultView(annotation, stream))
        info.defaultView = ViewName(chosen->view, chosen->index.value_or(0));
    annotations.push_back(annotation);
    infos.push_back(std::move(info));
    return true;
}

bool PdfDocument::Impl::Decode(QPDFObjectHandle stream, std::vector<uint8_t>& bytes, std::string& error) {
    LimitedBuffer buffer(bytes, DecodedLimit(stream));
    bool filtered = false;
    if (!stream.pipeStreamData(&buffer, &filtered, 0, qpdf_dl_all, true) || !filtered) {
        error = "its 3D stream cannot be decoded";
        return false;
    }
    return true;
}

PdfDocument::PdfDocument() : impl_(std::make_unique<Impl>()) {}
PdfDocument::~PdfDocument() = default;

bool PdfDocument::IsPdf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string head(kHeaderSearchBytes, '\0');
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(file.gcount()));
    return head.find(kPdfHeader) != std::string::npos;
}

template <typename Process>
bool PdfDocument::Impl::Load(Process process, std::string& error) {
    try {
        pdf.setSuppressWarnings(true);
        process(pdf);
        if (!FindAnnotations(error)) return false;
    } catch (const QPDFExc& e) {
        error = e.getErrorCode() == qpdf_e_password ? "the document is encrypted and needs a password"
                                                    : "not a readable PDF: " + e.getMessageDetail();
        return false;
    } catch (const std::exception& e) {
        error = std::string("not a readable PDF: ") + e.what();
        return false;
    }
    if (infos.empty()) {
        error = "the document has no 3D annotations";
        return false;
    }
    return true;
}

bool PdfDocument::Open(const std::string& path, std::string& error) {
    return impl_->Load([&path](QPDF& pdf) { pdf.processFile(path.c_str()); }, error);
}

bool PdfDocument::OpenBytes(std::string bytes, std::string& error) {
    impl_->memory = std::move(bytes);
    const std::string& memory = impl_->memory;
    return impl_->Load([&memory](QPDF& pdf) { pdf.processMemoryFile("memory", memory.data(), memory.size()); }, error);
}

const std::vector<PdfAnnotationInfo>& PdfDocument::Annotations() const { return impl_->infos; }

bool PdfDocument::ExtractScene(size_t index, const std::string& viewChoice, PdfScene& scene, std::string& error) const {
    if (index >= impl_->annotations.size()) {
        error = "no 3D annotation " + std::to_string(index) + "; the document has " +
                std::to_string(impl_->annotations.size()) + " (numbered from 0)";
        return false;
    }
    try {
        QPDFObjectHandle annotation = impl_->annotations[index];
        QPDFObjectHandle stream = SceneStream(annotation);
        if (!stream.isStream()) {
            error = "3D annotation " + std::to_string(index) + " has no 3D stream";
            return false;
        }
        const std::optional<SceneStreamType> type = StreamType(stream);
        if (!type) {
            error = "3D stream of unknown type '" + StreamTypeText(stream) + "'";
            return false;
        }
        QPDFObjectHandle views = Views(stream);
        std::optional<ChosenView> chosen;
        if (viewChoice.empty()) {
            chosen = DefaultView(annotation, stream);
        } else {
            chosen = IsNumber(viewChoice) ? ViewAt(views, std::stoul(viewChoice)) : ViewNamed(views, viewChoice);
            if (!chosen) {
                const std::string names = JoinedViewNames(views);
                error = "no view '" + viewChoice + "'; the views are: " + (names.empty() ? "none" : names);
                return false;
            }
        }
        scene = PdfScene{};
        scene.type = *type;
        if (!impl_->Decode(stream, scene.bytes, error)) return false;
        if (!HasSignature(scene.bytes, scene.type)) {
            error = std::string("its ") + StreamTypeName(scene.type) + " stream does not hold " +
                    StreamTypeName(scene.type) + " data";
            return false;
        }
        if (!chosen) return true;
        scene.hasView = true;
        const size_t place = chosen->index.value_or(size_t(views.getArrayNItems()));
        scene.view = ReadViewSettings(chosen->view, place, AnnotationViewBox(annotation, chosen->view));
        for (int i = 0; i < views.getArrayNItems(); ++i) {
            QPDFObjectHandle view = views.getArrayItem(i);
            scene.viewTexts.push_back(WriteViewText(view, size_t(i), AnnotationViewBox(annotation, view)));
        }
        if (!chosen->index)
            scene.viewTexts.push_back(WriteViewText(chosen->view, place, AnnotationViewBox(annotation, chosen->view)));
        scene.selectedView = static_cast<uint32_t>(place);
    } catch (const std::exception& e) {
        error = std::string("its 3D content cannot be read: ") + e.what();
        return false;
    }
    return true;
}

}  // namespace KestrumTool
