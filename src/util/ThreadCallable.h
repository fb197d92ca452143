#pragma once
// Call objects: a member function and its arguments captured by value, to be run later on
// another thread.
//
//   auto call = MakeCaller(&renderer, &Renderer::Resize, width, height);
//   ThreadManager::Instance().Post(call, threadId);             // asynchronous
//   bool ok = ThreadManager::Instance().Call<bool>(MakeCaller(&obj, &T::Load, path), threadId);
//
// Every argument is stored as a value copy of the member's parameter type with references and
// cv-qualifiers removed (a `const std::string&` parameter stores a std::string); a reference
// parameter of the member binds to the copy inside the call object when it runs.

#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Velmora::Utility {

// Abstract base of every call object.
class ThreadCallable {
public:
    virtual ~ThreadCallable() = default;
    virtual void Invoke() = 0;
};

// The general form; MemberFunctionCaller_0 .. _4 below name it by argument count.
// T: target class, M: pointer-to-member type, A...: stored argument types.
template <typename T, typename M, typename... A>
class MemberFunctionCaller : public ThreadCallable {
public:
    using Target = T;
    using Method = M;
    using Result = std::invoke_result_t<M, T*, A&...>;

    template <typename... Args>
    MemberFunctionCaller(T* target, M method, Args&&... args)
        : target_(target), method_(method), args_(std::forward<Args>(args)...) {}

    // Runs the member with the stored arguments and gives its result.
    Result Call() {
        return std::apply([this](A&... a) -> Result { return std::invoke(method_, target_, a...); }, args_);
    }

    void Invoke() override { Call(); }

private:
    T* target_;
    M method_;
    std::tuple<A...> args_;
};

template <typename T, typename M>
using MemberFunctionCaller_0 = MemberFunctionCaller<T, M>;
template <typename T, typename M, typename A1>
using MemberFunctionCaller_1 = MemberFunctionCaller<T, M, A1>;
template <typename T, typename M, typename A1, typename A2>
using MemberFunctionCaller_2 = MemberFunctionCaller<T, M, A1, A2>;
template <typename T, typename M, typename A1, typename A2, typename A3>
using MemberFunctionCaller_3 = MemberFunctionCaller<T, M, A1, A2, A3>;
template <typename T, typename M, typename A1, typename A2, typename A3, typename A4>
using MemberFunctionCaller_4 = MemberFunctionCaller<T, M, A1, A2, A3, A4>;

// A call object around any copyable function object (a lambda, say). Handy where no member
// function fits; the captured values are the stored arguments.
template <typename F>
class FunctionCaller : public ThreadCallable {
public:
    using Result = std::invoke_result_t<F&>;
    explicit FunctionCaller(F function) : function_(std::move(function)) {}
    Result Call() { return std::invoke(function_); }
    void Invoke() override { Call(); }

private:
    F function_;
};

namespace detail {
template <typename M>
struct MemberTraits;
#define KESTRUM_MEMBER_TRAITS(QUALIFIERS)                                                             \
    template <typename R, typename C, typename... P>                                                  \
    struct MemberTraits<R (C::*)(P...) QUALIFIERS> {                                                  \
        using Class = C;                                                                              \
        using Stored = std::tuple<std::remove_cvref_t<P>...>;                                         \
        template <typename T>                                                                         \
        using Caller = MemberFunctionCaller<T, R (C::*)(P...) QUALIFIERS, std::remove_cvref_t<P>...>; \
    };
KESTRUM_MEMBER_TRAITS()
KESTRUM_MEMBER_TRAITS(const)
KESTRUM_MEMBER_TRAITS(noexcept)
KESTRUM_MEMBER_TRAITS(const noexcept)
#undef KESTRUM_MEMBER_TRAITS
}  // namespace detail

// Makes the call object for `(object->*method)(args...)`, storing value copies of the
// arguments converted to the member's parameter types.
template <typename T, typename M, typename... Args>
auto MakeCaller(T* object, M method, Args&&... args) {
    using Caller = typename detail::MemberTraits<M>::template Caller<T>;
    static_assert(std::tuple_size_v<typename detail::MemberTraits<M>::Stored> == sizeof...(Args),
                  "MakeCaller: argument count does not match the member function");
    static_assert(sizeof...(Args) <= 4, "call objects carry at most 4 arguments");
    return Caller(object, method, std::forward<Args>(args)...);
}

// Makes a call object around a function object.
template <typename F>
auto MakeFunctionCaller(F&& function) {
    return FunctionCaller<std::decay_t<F>>(std::forward<F>(function));
}

// Wraps a call object for the blocking path of ThreadManager::Call: an ordinary value holding
// the inner call object.
template <typename C>
struct SyncCallable {
    C inner;
    using Result = typename C::Result;
    Result Call() { return inner.Call(); }
};

}  // namespace Velmora::Utility
