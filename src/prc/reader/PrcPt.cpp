#include "prc/reader/PrcPt.h"

#include <cmath>

#include "util/Logger.h"

namespace Velmora::PRC {

using Utility::Logger;
using Utility::LogLevel;

namespace {
// Cosines this close to one are taken as exactly one, so that acos never sees a value that
// rounding pushed out of its domain.
constexpr double kCosineLimit = 0.999999999999;
}  // namespace

double PrcPt::Length() const {
    const double squares = x * x + y * y + z * z;
    const double length = std::sqrt(squares);
    if (!(length >= 0.0)) {
        Logger::Log(LogLevel::Error, "PrcPt::Length() - error on calculation!");
        return 0.0;
    }
    return length;
}

int PrcPt::Unitize() {
    const double length = Length();
    if (length < kMinLength) return 1;
    if (length != 1.0) *this = *this / length;
    return 0;
}

bool PrcPt::MakeOrthoRep(PrcPt& sX, PrcPt& sY, PrcPt& sZ) {
    if (sX.Unitize() != 0) {
        Logger::Log(LogLevel::Error, "PrcPt::MakeOrthoRep() - failed on sX.Unitize(), falling back to unitX");
        sX = {1.0, 0.0, 0.0};
    }
    if (sZ.Unitize() != 0) {
        Logger::Log(LogLevel::Error, "PrcPt::MakeOrthoRep() - failed on sZ.Unitize()");
        return false;
    }
    sY = sZ.Cross(sX);
    if (sY.Unitize() != 0) {
        Logger::Log(LogLevel::Error, "PrcPt::MakeOrthoRep() - failed on sY.Unitize()");
        return false;
    }
    return true;
}

double PrcPt::AngleBetween(const PrcPt& a, const PrcPt& b) {
    const double la = a.Length(), lb = b.Length();
    if (la < kMinLength || lb < kMinLength) {
        Logger::Log(LogLevel::Error, "PrcPt::AngleBetween() - length < FLT_EPSILON");
        return 0.0;
    }
    double cosine = a.Dot(b) / (la * lb);
    if (cosine > kCosineLimit) cosine = 1.0;
    if (cosine < -kCosineLimit) cosine = -1.0;
    return std::acos(cosine);
}

}  // namespace Velmora::PRC
