#pragma once
// Capturing several scenes in one run: where each picture goes, and the report of the run.
// The capture of one scene is the caller's; a failed one does not stop the others.

#include <functional>
#include <string>
#include <vector>

namespace KestrumTool {

struct CaptureJob {
    std::string input;
    std::string output;  // empty: the library names the picture itself
};

// Whether the path ends in an extension the picture writer has a format for.
bool HasPictureExtension(const std::string& path);

// Whether `format` names a picture format (png, jpg, jpeg, tif, tiff).
bool IsPictureFormat(const std::string& format);

// A run of several inputs, or one that writes into a folder (OUT ends in '/' or is one).
bool IsBatch(const std::vector<std::string>& inputs, const std::string& output);

// One job per input. In a batch each picture is named after its input in the folder OUT (the
// working folder without one), with the extension of `format` (png without one). False with
// a reason when the output or the format cannot be written.
bool PlanCaptures(const std::vector<std::string>& inputs, const std::string& output, const std::string& format,
                  std::vector<CaptureJob>& jobs, std::string& error);

// Runs every job through `capture` (true on success, `error` set otherwise), printing a line
// per job and a summary. The exit status: 0 when all succeeded, else 1.
int RunBatch(const std::vector<CaptureJob>& jobs,
             const std::function<bool(const CaptureJob&, std::string& written, std::string& error)>& capture);

}  // namespace KestrumTool
