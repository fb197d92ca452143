#pragma once
// Sets (or, with a null value, removes) an environment variable for one scope and puts back
// what was there before. Tests only: the environment is process-wide, so tests that use it
// must not run their threads against it.

#include <cstdlib>
#include <string>

namespace Velmora::Test {

class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) old_ = old, hadOld_ = true;
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ScopedEnv(const char* name, const std::string& value) : ScopedEnv(name, value.c_str()) {}
    ~ScopedEnv() {
        if (hadOld_)
            setenv(name_, old_.c_str(), 1);
        else
            unsetenv(name_);
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    const char* name_;
    std::string old_;
    bool hadOld_ = false;
};

}  // namespace Velmora::Test
