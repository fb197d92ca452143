// Property exports. Setters queue (async) or block until applied; getters always block.
// A null proxy: setters do nothing in silence, getters log and answer zero.

#include <string>

#include "Kestrum.h"
#include "host/RenderProxy3D.h"
#include "host/exports/ExportGuard.h"
#include "util/Logger.h"
#include "util/Strings.h"
#include "util/ThreadManager.h"

namespace Kestrum {

using Velmora::Utility::Logger;
using Velmora::Utility::LogLevel;
using Velmora::Utility::MakeCaller;
using Velmora::Utility::ThreadManager;

namespace {

template <typename Value, typename Method>
void SetProperty(RenderProxy3D* proxy, Method method, uint32_t id, Value value, int async) {
    if (proxy == nullptr) return;
    Exports::Guarded([&] {
        auto call = MakeCaller(proxy, method, id, std::move(value));
        if (async != 0)
            ThreadManager::Instance().Post(std::move(call), proxy->RenderThreadId());
        else
            ThreadManager::Instance().Call<void>(std::move(call), proxy->RenderThreadId());
    });
}

template <typename R, typename Method>
R GetProperty(RenderProxy3D* proxy, Method method, uint32_t id) {
    return Exports::Guarded<R>(
        R{}, [&] { return ThreadManager::Instance().Call<R>(MakeCaller(proxy, method, id), proxy->RenderThreadId()); });
}

}  // namespace

void SetProperty_Bool(RenderProxy3D* proxy, uint32_t id, int value, int async) {
    SetProperty(proxy, &RenderProxy3D::Thread_SetPropertyBool, id, value != 0, async);
}

void SetProperty_Int32(RenderProxy3D* proxy, uint32_t id, int32_t value, int async) {
    SetProperty(proxy, &RenderProxy3D::Thread_SetPropertyInt32, id, value, async);
}

void SetProperty_Int64(RenderProxy3D* proxy, uint32_t id, int64_t value, int async) {
    SetProperty(proxy, &RenderProxy3D::Thread_SetPropertyInt64, id, value, async);
}

void SetProperty_Double(RenderProxy3D* proxy, uint32_t id, double value, int async) {
    SetProperty(proxy, &RenderProxy3D::Thread_SetPropertyDouble, id, value, async);
}

void SetProperty_String(uint32_t, RenderProxy3D* proxy, uint32_t id, const char16_t* value, int async) {
    if (proxy == nullptr) return;
    Exports::Guarded([&] {
        SetProperty(proxy, &RenderProxy3D::Thread_SetPropertyString, id, Velmora::Utility::WideToUtf8(value), async);
    });
}

uint8_t GetProperty_Bool(RenderProxy3D* proxy, uint32_t id) {
    if (proxy == nullptr) {
        Logger::Log(LogLevel::Error, "Dll: GetProperty_Bool without a valid RenderProxy instance!");
        return 0;
    }
    return GetProperty<bool>(proxy, &RenderProxy3D::Thread_GetPropertyBool, id) ? 1 : 0;
}

int32_t GetProperty_Int32(RenderProxy3D* proxy, uint32_t id) {
    if (proxy == nullptr) {
        Logger::Log(LogLevel::Error, "Dll: GetProperty_Int32 without a valid RenderProxy instance!");
        return 0;
    }
    return GetProperty<int32_t>(proxy, &RenderProxy3D::Thread_GetPropertyInt32, id);
}

int64_t GetProperty_Int64(RenderProxy3D* proxy, uint32_t id) {
    if (proxy == nullptr) {
        Logger::Log(LogLevel::Error, "Dll: GetProperty_Int64 without a valid RenderProxy instance!");
        return 0;
    }
    return GetProperty<int64_t>(proxy, &RenderProxy3D::Thread_GetPropertyInt64, id);
}

double GetProperty_Double(RenderProxy3D* proxy, uint32_t id) {
    if (proxy == nullptr) {
        Logger::Log(LogLevel::Error, "Dll: GetProperty_Double without a valid RenderProxy instance!");
        return 0.0;
    }
    return GetProperty<double>(proxy, &RenderProxy3D::Thread_GetPropertyDouble, id);
}

KestrumSystemString GetProperty_String(RenderProxy3D* proxy, uint32_t id) {
    if (proxy == nullptr) {
        // The same text as the Double getter: hosts match on it.
        Logger::Log(LogLevel::Error, "Dll: GetProperty_Double without a valid RenderProxy instance!");
        return nullptr;
    }
    return Exports::Guarded<KestrumSystemString>(nullptr, [&] {
        std::string text = GetProperty<std::string>(proxy, &RenderProxy3D::Thread_GetPropertyString, id);
        return Velmora::Utility::MakeBstrFromUtf8(text.empty() ? std::string("<StringError>") : text);
    });
}

}  // namespace Kestrum
