#pragma once
// For the one source file of a fuzz target: libFuzzer calls this once before the first input,
// and the log is switched off, so that the messages bad inputs bring cost neither time nor
// output.

#include "util/Logger.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    Velmora::Utility::Logger::Instance().SetMaxLevel(-1);
    return 0;
}
