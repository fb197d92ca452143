#include "host/ApplicationNames.h"

#include <mutex>
#include <shared_mutex>

namespace Velmora {

namespace {

struct GuardedName {
    std::shared_mutex lock;
    std::string value;

    void Set(std::string name) {
        std::unique_lock<std::shared_mutex> guard(lock);
        value = std::move(name);
    }
    std::string Get() {
        std::shared_lock<std::shared_mutex> guard(lock);
        return value;
    }
};

GuardedName& Company() {
    static GuardedName name;
    return name;
}

GuardedName& Application() {
    static GuardedName name;
    return name;
}

}  // namespace

void ApplicationNames::SetCompanyName(std::string name) { Company().Set(std::move(name)); }
std::string ApplicationNames::CompanyName() { return Company().Get(); }
void ApplicationNames::SetApplicationName(std::string name) { Application().Set(std::move(name)); }
std::string ApplicationNames::ApplicationName() { return Application().Get(); }

std::string ApplicationNames::EffectiveCompanyName() {
    std::string name = CompanyName();
    return name.empty() ? std::string(kDefaultCompany) : name;
}

std::string ApplicationNames::EffectiveApplicationName() {
    std::string name = ApplicationName();
    return name.empty() ? std::string(kDefaultApplication) : name;
}

}  // namespace Velmora
