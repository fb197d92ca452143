#pragma once
// The per-format staging object of one import. Reading (LoadFromFile / LoadFromMemory) fills
// the pool; BuildSceneGraph turns it into a scene. The pool never outlives the import.

#include <cstdint>
#include <memory>
#include <string>

#include "format/AuthoringInterrupt.h"
#include "format/AuthoringProgress.h"
#include "util/SimpleProfiler.h"

namespace Velmora::FormatGlue {

class AuthoringPool {
public:
    using Timer = std::shared_ptr<Utility::SimpleProfiler>;

    virtual bool LoadFromFile(const std::string& path, Timer timer) = 0;
    virtual bool LoadFromMemory(const uint8_t* data, uint32_t size, Timer timer) = 0;
    // Builds a new scene from the pool; sceneHandle receives its identifier.
    virtual bool BuildSceneGraph(uint32_t& sceneHandle, Timer timer) = 0;
    virtual ~AuthoringPool() = default;
    virtual bool Init() = 0;
    virtual void Shutdown() = 0;

    // Takes ownership of `pool`: the handle's deleter runs Shutdown and then deletes it.
    // Runs Init (empty handle if it fails), registers `listener` (if any) with the progress
    // and stores callbackSlot.
    template <typename Pool>
    static std::shared_ptr<Pool> Create(Pool* pool, ProgressListener* listener, void* callbackSlot) {
        if (pool == nullptr) return nullptr;
        std::shared_ptr<Pool> handle(pool, [](Pool* p) {
            p->Shutdown();
            delete p;
        });
        if (!handle->Init()) return nullptr;
        if (listener) handle->progress_.AddObserver(listener);
        handle->progress_.SetCallbackSlot(callbackSlot);
        return handle;
    }

    AuthoringProgress& Progress() { return progress_; }

protected:
    // Runs one stage of a build under its sub-timer: false when the stage fails or the load was
    // interrupted while it ran.
    template <typename Stage>
    static bool RunStage(const Timer& timer, const char* name, Stage&& stage) {
        {
            Utility::ScopedSubTimer stageTimer(timer, name);
            if (!stage()) return false;
        }
        return !AuthoringInterrupt::Interrupted();
    }

    AuthoringProgress progress_;
};

}  // namespace Velmora::FormatGlue
