#pragma once
// Observer list: a list of Listener pointers under a reader-writer lock.
// Base of WindowBase (WindowEventListener) and AuthoringProgress (ProgressListener).

#include <algorithm>
#include <cstdint>
#include <list>
#include <mutex>
#include <shared_mutex>
#include <vector>

#include "util/Logger.h"

namespace Velmora::Utility {

template <typename Listener>
class Observable {
public:
    Observable() = default;
    virtual ~Observable() = default;
    Observable(const Observable&) = delete;
    Observable& operator=(const Observable&) = delete;

    // Exclusive. Null is ignored; a listener already on the list is not added again and level
    // 2 "Trying to add duplicate observer - IGNORED" is logged. Otherwise it goes to the back.
    void AddObserver(Listener* listener) {
        if (listener == nullptr) return;
        bool duplicate = false;
        {
            std::unique_lock<std::shared_mutex> lock(lock_);
            if (std::find(observers_.begin(), observers_.end(), listener) != observers_.end()) {
                duplicate = true;
            } else {
                observers_.push_back(listener);
                ++count_;
            }
        }
        if (duplicate) Logger::Log(LogLevel::Warning, "Trying to add duplicate observer - IGNORED");
    }

    // Exclusive. Unlinks the first match; an unknown listener is silently ignored.
    void RemoveObserver(Listener* listener) {
        std::unique_lock<std::shared_mutex> lock(lock_);
        auto it = std::find(observers_.begin(), observers_.end(), listener);
        if (it != observers_.end()) {
            observers_.erase(it);
            --count_;
        }
    }

    // Walks the list in order under the lock, shared, calling `notify(listener)` for each. A
    // listener must not add or remove observers of this list from inside the notification.
    template <typename F>
    void NotifyObservers(F&& notify) const {
        std::shared_lock<std::shared_mutex> lock(lock_);
        for (Listener* listener : observers_) notify(listener);
    }

    uint32_t ObserverCount() const {
        std::shared_lock<std::shared_mutex> lock(lock_);
        return count_;
    }

private:
    std::list<Listener*> observers_;
    uint32_t count_ = 0;
    mutable std::shared_mutex lock_;
};

}  // namespace Velmora::Utility
