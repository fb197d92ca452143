#include "u3d/PendingNormals.h"

#include <algorithm>
#include <cmath>

#include "u3d/CLODMeshData.h"

namespace Velmora::U3D {

namespace {

float Dot(const Vec3f& a, const Vec3f& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

// Spherical interpolation between unit vectors a and b at t (t = 1 gives a). Nearly parallel
// vectors are blended linearly; the result is not normalised again.
//
// The library's acos and sin are kept on purpose. Cheaper polynomial weights agree to a
// few ulps, but the linear branch is discontinuous for opposed vectors (it blends `a` as
// given, not flipped), and a one-ulp difference in a running mean can move a later merge
// across the 0.9999999 bound: flat, double-sided sheets then come out with normals of
// other lengths.
// The arc between `from` and b, d = cos(angle) in [0, 0.9999999], 0 < t < 1. Out of line:
// the near-parallel and first-merge cases of Slerp are common and cheap, and stay inlined.
[[gnu::noinline]] Vec3f SlerpArc(const Vec3f& from, const Vec3f& b, float d, float t) {
    const float theta = std::acos(d);
    const float inverseSin = 1.0f / std::sin(theta);
    const float sinA = std::sin(t * theta);
    // Halfway both weights take the same sine (1 - 0.5f is exactly 0.5f).
    const float sinB = t == 0.5f ? sinA : std::sin((1.0f - t) * theta);
    const float wa = sinA * inverseSin;
    const float wb = sinB * inverseSin;
    return {wa * from[0] + wb * b[0], wa * from[1] + wb * b[1], wa * from[2] + wb * b[2]};
}

inline Vec3f Slerp(const Vec3f& a, const Vec3f& b, float t) {
    float d = Dot(a, b);
    Vec3f from = a;
    if (d < 0.0f) {
        from = {-a[0], -a[1], -a[2]};
        d = -d;
    }
    if (d > 0.9999999f) return {t * (a[0] - b[0]) + b[0], t * (a[1] - b[1]) + b[1], t * (a[2] - b[2]) + b[2]};
    // At t = 1 the weights are sin(theta)/sin(theta) and sin(0): the result is `from`. The
    // first merge into every cluster lands here, so the transcendental calls are skipped.
    if (t == 1.0f) return from;
    return SlerpArc(from, b, d, t);
}

}  // namespace

void PendingNormals::BeginBlock(std::vector<CLODFace>& faces, std::vector<Vec3f>& normals) {
    if (!turned_.empty() && firstPending_ + turned_.size() != normals.size()) Resolve(faces, normals);
    if (turned_.empty()) firstPending_ = static_cast<uint32_t>(normals.size());
    // Faces are only ever appended; a shorter face list means the records belong to an
    // earlier state of the mesh and are started again from the faces.
    if (corners_.size() > faces.size()) corners_.clear();
    corners_.reserve(faces.capacity());
    for (size_t face = corners_.size(); face < faces.size(); ++face) corners_.push_back({faces[face].normals});
}

void PendingNormals::GrowFaceNormals() {
    faceNormals_.resize(std::max(faceNormalsUsed_, faceNormals_.size() + faceNormals_.size() / 2));
}

void PendingNormals::EndBlock(std::vector<Vec3f>& normals) {
    MarkTaken(normals.size());
    // A normal still taken after the block that follows its own is likely to stay (later
    // updates touch ever smaller neighbourhoods), so it is predicted now and its face
    // normals let go: the record then holds about two blocks' worth, not the whole mesh's.
    ready_.clear();
    for (size_t i = 0; i < carried_ && i < steps_.size(); ++i)
        if (Taken(steps_[i])) ready_.push_back(steps_[i]);
    Predict(ready_, normals);
    KeepTaken(carried_);
    carried_ = steps_.size();
}

void PendingNormals::MarkTaken(size_t normalCount) {
    // Steps are kept in stream order, so the first one kept has the lowest normals: every
    // pending normal below it has been predicted or dropped already.
    liveBase_ = steps_.empty() ? static_cast<uint32_t>(normalCount) : steps_.front().firstNormal;
    live_.assign(normalCount > liveBase_ ? normalCount - liveBase_ : 0, 0);
    const size_t pending = live_.size();
    uint8_t* live = live_.data();
    for (const Corners& record : corners_)
        for (uint32_t normal : record.index) {
            const uint32_t offset = normal - liveBase_;  // wraps round below the base
            if (offset < pending) live[offset] = 1;
        }
}

bool PendingNormals::Taken(const Step& step) const {
    const uint32_t offset = step.firstNormal - liveBase_;
    if (offset >= live_.size()) return false;
    const uint32_t count = std::min<uint32_t>(step.count, static_cast<uint32_t>(live_.size() - offset));
    return std::any_of(live_.begin() + offset, live_.begin() + offset + count, [](uint8_t v) { return v != 0; });
}

void PendingNormals::KeepTaken(size_t first) {
    size_t kept = 0;
    size_t used = 0;
    for (size_t i = first; i < steps_.size(); ++i) {
        const Step& step = steps_[i];
        if (!Taken(step)) continue;
        Step moved = step;
        moved.firstFaceNormal = static_cast<uint32_t>(used);
        // Kept steps only move towards the front, so the copy never overtakes its source.
        if (used != step.firstFaceNormal) {
            const Vec3f* from = faceNormals_.data() + step.firstFaceNormal;
            Vec3f* to = faceNormals_.data() + used;
            for (uint32_t j = 0; j < step.faceCount; ++j) to[j] = from[j];
        }
        used += step.faceCount;
        steps_[kept++] = moved;
    }
    steps_.resize(kept);
    faceNormalsUsed_ = used;
}

void PendingNormals::Resolve(std::vector<CLODFace>& faces, std::vector<Vec3f>& normals) {
    const size_t faceCount = std::min(faces.size(), corners_.size());
    for (size_t face = 0; face < faceCount; ++face) faces[face].normals = corners_[face].index;
    if (!steps_.empty()) {
        MarkTaken(normals.size());
        ready_.clear();
        for (const Step& step : steps_)
            if (Taken(step)) ready_.push_back(step);
        Predict(ready_, normals);
    }
    // Everything goes, memory included: the mesh is complete.
    corners_ = {};
    turned_ = {};
    steps_ = {};
    ready_ = {};
    faceNormals_ = {};
    faceNormalsUsed_ = 0;
    carried_ = 0;
    live_ = {};
}

void PendingNormals::Predict(std::span<const Step> steps, std::vector<Vec3f>& normals) {
    // Most positions take a single normal, the running spherical mean of their face
    // normals: a chain of dependent slerps, each waiting on acos and sin. Several such
    // chains are stepped side by side so that some run while others wait.
    std::array<const Step*, kSingleLanes> singles{};
    size_t waiting = 0;
    for (const Step& step : steps) {
        if (step.count == 0 || step.firstNormal + uint64_t(step.count) > normals.size()) continue;
        if (step.count > 1) {
            PredictSeveral(step, normals);
            continue;
        }
        singles[waiting++] = &step;
        if (waiting == kSingleLanes) {
            PredictSingles(singles, normals);
            waiting = 0;
        }
    }
    if (waiting) PredictSingles(std::span(singles.data(), waiting), normals);
    for (const Step& step : steps) {
        if (step.firstNormal + uint64_t(step.count) > normals.size()) continue;
        for (uint32_t i = 0; i < step.count; ++i) {
            Vec3f& normal = normals[step.firstNormal + i];
            if (turned_[step.firstNormal - firstPending_ + i]) normal = {-normal[0], -normal[1], -normal[2]};
        }
    }
}

// The normals of a position that takes several: clustered from its face normals.
void PendingNormals::PredictSeveral(const Step& step, std::vector<Vec3f>& normals) {
    const std::span<const Vec3f> faceNormals(faceNormals_.data() + step.firstFaceNormal, step.faceCount);
    const uint32_t count = step.count;
    // Start from the first face normal, then keep adding the face normal least like any
    // chosen so far.
    predicted_.clear();
    if (step.valid > 0) predicted_.push_back(faceNormals[0]);
    bestDot_.assign(faceNormals.size(), -2.0f);
    for (const Vec3f& chosen : predicted_)
        for (size_t j = 0; j < faceNormals.size(); ++j)
            bestDot_[j] = std::max(bestDot_[j], Dot(faceNormals[j], chosen));
    while (predicted_.size() < count) {
        if (faceNormals.empty()) {
            predicted_.push_back(Vec3f{0, 0, 0});
            continue;
        }
        float bound = 1.0f;
        size_t pick = 0;
        for (size_t j = 0; j < faceNormals.size(); ++j)
            if (bestDot_[j] < bound) {
                bound = bestDot_[j];
                pick = j;
            }
        const Vec3f chosen = faceNormals[pick];
        predicted_.push_back(chosen);
        for (size_t j = 0; j < faceNormals.size(); ++j)
            bestDot_[j] = std::max(bestDot_[j], Dot(faceNormals[j], chosen));
    }
    // Merge: each face normal pulls its closest prediction towards itself, as a running
    // spherical mean.
    mergeCounts_.assign(predicted_.size(), 0);
    for (const Vec3f& normal : faceNormals) {
        size_t closest = 0;
        float best = Dot(normal, predicted_[0]);
        for (size_t k = 1; k < predicted_.size(); ++k) {
            const float d = Dot(normal, predicted_[k]);
            if (d > best) {
                best = d;
                closest = k;
            }
        }
        const float t = 1.0f / static_cast<float>(mergeCounts_[closest] + 1);
        predicted_[closest] = Slerp(normal, predicted_[closest], t);
        ++mergeCounts_[closest];
    }
    std::copy_n(predicted_.begin(), count, normals.begin() + step.firstNormal);
}

// The normals of positions that take a single one. With one prediction there is nothing to
// choose: it starts as the first face normal (zero if there is none, or none that is valid:
// the zero ones are packed behind) and every face normal is merged into it.
void PendingNormals::PredictSingles(std::span<const Step* const> steps, std::vector<Vec3f>& normals) const {
    std::array<const Vec3f*, kSingleLanes> faceNormals{};
    std::array<uint32_t, kSingleLanes> counts{};
    std::array<Vec3f, kSingleLanes> means{};
    uint32_t longest = 0;
    for (size_t lane = 0; lane < steps.size(); ++lane) {
        faceNormals[lane] = faceNormals_.data() + steps[lane]->firstFaceNormal;
        counts[lane] = steps[lane]->faceCount;
        if (counts[lane] > 0) means[lane] = faceNormals[lane][0];
        longest = std::max(longest, counts[lane]);
    }
    for (uint32_t j = 0; j < longest; ++j) {
        const float t = 1.0f / static_cast<float>(j + 1);
        for (size_t lane = 0; lane < steps.size(); ++lane)
            if (j < counts[lane]) means[lane] = Slerp(faceNormals[lane][j], means[lane], t);
    }
    for (size_t lane = 0; lane < steps.size(); ++lane) normals[steps[lane]->firstNormal] = means[lane];
}

}  // namespace Velmora::U3D
