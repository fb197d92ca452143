#include "util/SimpleThread.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <system_error>

#include "util/Clock.h"

namespace Velmora::Utility {

uint32_t CurrentThreadOsId() {
    static thread_local uint32_t id = static_cast<uint32_t>(::syscall(SYS_gettid));
    return id;
}

SimpleThread::ThreadFunctor::~ThreadFunctor() { DiscardQueue(); }

uint32_t SimpleThread::ThreadFunctor::ProcessQueue() {
    uint32_t ran = 0;
    while (queue.Pending() != 0) {
        ThreadCallable* call = nullptr;
        if (!queue.TryPop(call)) break;
        if (call != nullptr) {
            call->Invoke();
            delete call;
            ++ran;
        }
    }
    return ran;
}

uint32_t SimpleThread::ThreadFunctor::DiscardQueue() {
    uint32_t dropped = 0;
    ThreadCallable* call = nullptr;
    while (queue.TryPop(call)) {
        delete call;
        ++dropped;
    }
    return dropped;
}

SimpleThread::SimpleThread(std::shared_ptr<ThreadFunctor> functor, std::string name)
    : functor_(functor.get()), functorOwner_(std::move(functor)), name_(std::move(name)) {}

SimpleThread::~SimpleThread() { Stop(); }

bool SimpleThread::Start() {
    if (functor_ == nullptr) return false;
    if (thread_) return true;
    joinable_.store(true);
    try {
        thread_ = std::make_shared<std::thread>(&SimpleThread::ThreadMain, this);
    } catch (const std::exception&) {
        joinable_.store(false);
        thread_.reset();
        return false;
    }
    return true;
}

void SimpleThread::Stop() {
    if (!thread_) return;
    if (functor_ != nullptr && joinable_.load()) functor_->RequestStop();
    try {
        if (thread_->get_id() == std::this_thread::get_id()) {
            // Joining oneself would deadlock (std::thread throws here); let it run out.
            throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
        }
        if (thread_->joinable()) thread_->join();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "Simple Thread exception: %s\n", e.what());
        if (thread_->joinable()) thread_->detach();
    }
    thread_.reset();
}

void SimpleThread::ThreadMain() {
    threadId_.store(CurrentThreadOsId(), std::memory_order_release);
    if (!name_.empty()) {
        // pthread names hold 15 characters and the NUL.
        std::string shortName = name_.substr(0, 15);
        pthread_setname_np(pthread_self(), shortName.c_str());
    }
    ThreadFunctor* f = functor_;
    if (!f->running.load()) {
        f->running.store(true);
        f->OnStart();
        while (!f->stopRequested.load()) {
            f->Update();
            if (f->stopRequested.load()) break;
            f->pause.SleepFor(f->sleepMs.load(), [f] { return f->stopRequested.load(); });
        }
        f->OnStop();
        f->running.store(false);
    }
    if (!f->running.load()) joinable_.store(false);
}

}  // namespace Velmora::Utility
