#pragma once
// Path checks and helpers. Paths are UTF-8 std::string; the std::u16string
// overloads stand for the wide-string forms of the host interface. "/" is the separator.
// No function here lets a filesystem error escape.

#include <string>
#include <vector>

namespace Velmora::Utility {

// True if the status of `path` is not "not found".
bool Exists(const std::string& path);
bool Exists(const std::u16string& path);

// Regular file. An exception logs "IsRegular - exception %s" and gives false.
bool IsRegular(const std::string& path);
bool IsRegular(const std::u16string& path);

// Directory. An exception logs "IsValidDirectory filesystem_error: %s" and gives false.
bool IsValidDirectory(const std::string& path);
bool IsValidDirectory(const std::u16string& path);

// Makes all missing folders; true when the directory exists afterwards. A failure logs at
// level 1 "CheckCreateDirectory filesystem_error: %s".
bool CheckCreateDirectory(const std::string& path);
bool CheckCreateDirectory(const std::u16string& path);

// The value of an environment variable as a path; empty when unset. "APPDATA" follows
// On Linux: $APPDATA if set, else $XDG_DATA_HOME, else $HOME/.local/share.
std::string GetEnvironmentFolder(const std::string& name);

// Folder of the running library (dladdr on one of its functions), without a trailing "/".
// Failure logs "Error returned by GetModuleFileName()" and gives the empty string.
std::string GetModulePath();

// Names (not paths) of the regular files in `folder` that match one of the wildcard patterns
// of `mask` ("*" and "?", case-insensitive, so that a host's mask finds the same files
// whatever the case of their names; the mask splits at blank, tab, line feed and carriage
// return; an empty mask matches everything). Sorted, each name once. Failures log "FindFilesInFolder - exception: %s"
// or "FindFilesInFolder - unknown exception" and give what was found so far.
std::vector<std::string> FindFilesInFolder(const std::string& folder, const std::string& mask);

// Parts of a path: Stem("a/b.c.u3d") is "b.c", Extension("a/b.u3d") is ".u3d" (with the dot).
std::string Stem(const std::string& path);
std::string Extension(const std::string& path);
// Folder part ("a/b.u3d" -> "a").
std::string ParentPath(const std::string& path);

// "{stem}_{TimeStamp()}_{counter:04d}{extension}" inside `folder` (joined with "/"; no folder
// gives the bare name). The counter is process-wide and atomic; the first value is 1. The
// file system is not asked.
std::string GetUniqueFileName(const std::string& stem, const std::string& extension, const std::string& folder);

// Current local time as "%Y%m%d%H%M%S".
std::string TimeStamp();

// For the log: "FileDump <path>\n--------------------\n", the lines of the text file as they
// are, then "--------------------". A missing file logs at level 1
// "<DumpFile -> File '%s' does not exist>", one that cannot be opened
// "<DumpFile -> File '%s' cannot be opened>"; both give the empty string.
std::string DumpFile(const std::string& path);

// The message of errno (or of `code`): empty for 0; "Windows Error {:d}" when the system has
// no text for it.
std::string LastErrorText();
std::string LastErrorText(int code);

}  // namespace Velmora::Utility
