#include "host/FormatRegistration.h"

#include <memory>

#include "format/FormatManager.h"
#include "obj/Format_OBJ.h"
#include "prc/export/Format_PRC.h"
#include "u3d/Format_U3D.h"

namespace Velmora {

using FormatGlue::FormatManager;

void RegisterStandardFormats() {
    static const bool registered = [] {
        FormatManager& manager = FormatManager::Instance();
        manager.RegisterFormat({"U3D", {".u3d"}, std::make_shared<U3D::Format_U3D>(), false});
        manager.RegisterFormat({"PRC", {".prc"}, std::make_shared<PRC::Format_PRC>(), true});
        manager.RegisterFormat({"OBJ", {".obj"}, std::make_shared<OBJ::Format_OBJ>(), false});
        return true;
    }();
    (void)registered;
}

namespace {
// Formats register at library start.
const int kStartupRegistration = (RegisterStandardFormats(), 0);
}  // namespace

}  // namespace Velmora
