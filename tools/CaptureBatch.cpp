#include "CaptureBatch.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace KestrumTool {

namespace {

constexpr std::array<std::string_view, 5> kPictureFormats{"png", "jpg", "jpeg", "tif", "tiff"};
constexpr std::string_view kDefaultFormat = "png";

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool IsFolder(const std::string& path) {
    std::error_code ignored;
    return !path.empty() && (path.back() == '/' || std::filesystem::is_directory(path, ignored));
}

}  // namespace

bool IsPictureFormat(const std::string& format) {
    return std::find(kPictureFormats.begin(), kPictureFormats.end(), Lower(format)) != kPictureFormats.end();
}

bool HasPictureExtension(const std::string& path) {
    const std::string extension = std::filesystem::path(path).extension().string();
    return extension.size() > 1 && IsPictureFormat(extension.substr(1));
}

bool IsBatch(const std::vector<std::string>& inputs, const std::string& output) {
    return inputs.size() > 1 || IsFolder(output);
}

bool PlanCaptures(const std::vector<std::string>& inputs, const std::string& output, const std::string& format,
                  std::vector<CaptureJob>& jobs, std::string& error) {
    jobs.clear();
    if (!format.empty() && !IsPictureFormat(format)) {
        error = "--format takes png, jpg or tif, not '" + format + "'";
        return false;
    }
    const std::string extension = "." + (format.empty() ? std::string(kDefaultFormat) : Lower(format));
    if (!IsBatch(inputs, output)) {
        if (!output.empty() && !HasPictureExtension(output)) {
            error = "cannot write '" + output + "': the picture formats are .png, .jpg/.jpeg and .tif/.tiff";
            return false;
        }
        std::string target = output;
        // A format without a target names the picture after the scene, here.
        if (target.empty() && !format.empty())
            target = std::filesystem::path(inputs.front()).stem().string() + extension;
        jobs.push_back({inputs.front(), target});
        return true;
    }
    std::filesystem::path folder = output.empty() ? std::filesystem::path(".") : std::filesystem::path(output);
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    if (failure || !std::filesystem::is_directory(folder, failure)) {
        error = "cannot make the folder '" + folder.string() + "'";
        return false;
    }
    for (const std::string& input : inputs)
        jobs.push_back({input, (folder / std::filesystem::path(input).stem()).string() + extension});
    return true;
}

int RunBatch(const std::vector<CaptureJob>& jobs,
             const std::function<bool(const CaptureJob&, std::string& written, std::string& error)>& capture) {
    std::vector<std::string> failed;
    for (size_t i = 0; i < jobs.size(); ++i) {
        std::string written, error;
        const bool ok = capture(jobs[i], written, error);
        if (ok) {
            std::printf("[%zu/%zu] %s -> %s\n", i + 1, jobs.size(), jobs[i].input.c_str(), written.c_str());
        } else {
            std::printf("[%zu/%zu] %s FAILED: %s\n", i + 1, jobs.size(), jobs[i].input.c_str(), error.c_str());
            failed.push_back(jobs[i].input);
        }
        std::fflush(stdout);
    }
    std::printf("captured %zu of %zu", jobs.size() - failed.size(), jobs.size());
    if (!failed.empty()) {
        std::printf("; failed:");
        for (const std::string& input : failed) std::printf(" %s", input.c_str());
    }
    std::printf("\n");
    return failed.empty() ? 0 : 1;
}

}  // namespace KestrumTool
