#pragma once
// Small pure helpers for what the driver reports about itself: version strings, the vendor
// and the names of anti-aliasing modes. Kept apart from the context so they can be checked
// without a driver.

#include <cstdint>
#include <string>

namespace Velmora::Rendering {

enum class GLVendor : int32_t { Unknown = 0, Nvidia = 1, Amd = 2, Intel = 3 };

// Reads "major.minor" from a GL_VERSION or GL_SHADING_LANGUAGE_VERSION text. Leading text
// such as "OpenGL ES " is skipped; the minor number is taken as written, so "4.50" gives 50
// (that is how the shader "#version 450" line is built). False when no number is found.
bool ParseGLVersion(const char* text, int32_t& major, int32_t& minor);

// Vendor from the GL_VENDOR text, looked up in lower case: "nvidia", then "intel", then
// "ati" or "amd".
GLVendor DetectVendor(const std::string& vendorText);

// "4xMSAA", "8xMSAA + 16xCSAA" or "No AA".
std::string AntiAliasingModeName(uint32_t coverageSamples, uint32_t colorSamples);

}  // namespace Velmora::Rendering
