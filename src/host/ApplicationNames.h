#pragma once
// Company and application name set by the host. They only name the folder of generated
// capture files (<APPDATA>/<company>/<application>/). Each lives behind its own
// reader-writer lock; while a name is empty its built-in default stands in for it.

#include <string>

namespace Velmora {

class ApplicationNames {
public:
    static constexpr const char* kDefaultCompany = "Orsalind Ltd";
    static constexpr const char* kDefaultApplication = "Quillmere";

    static void SetCompanyName(std::string name);
    static std::string CompanyName();  // as stored, possibly empty
    static void SetApplicationName(std::string name);
    static std::string ApplicationName();

    // The name to use in a path: the stored one, or the default while it is empty.
    static std::string EffectiveCompanyName();
    static std::string EffectiveApplicationName();
};

}  // namespace Velmora
