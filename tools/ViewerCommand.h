#pragma once
// The `view` command's own arguments: everything after the word "view" on the command line.

#include "KestrumLibrary.h"

#include <cstdio>
#include <string>
#include <vector>

namespace KestrumTool {

void PrintViewUsage(FILE* out);

// Reads SCENE and the view options, then shows the scene. Returns the exit code: 2 for a bad
// command line, else the viewer's.
int RunViewCommand(const Library& lib, const std::vector<std::string>& args);

}  // namespace KestrumTool
