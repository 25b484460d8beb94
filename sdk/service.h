#pragma once
// Services: every object that player and component share is counted and answers for the interfaces it has.
//
// Rules of an interface class:
//  - it derives from exactly one other interface (in the end from service_base), so that one address serves
//    for all of them, and has no data and no virtual destructor;
//  - it names its parent (`using parent = ...`) and has an identity (`static constexpr guid_t class_guid`);
//  - its virtual operations take and give plain types only; text goes out through string_out.
// Operations throw the classes of sdk/exceptions.h and std::exception, unless they are noexcept.

#include "sdk/guid.h"

#include <atomic>
#include <cstdint>
#include <type_traits>
#include <utility>

class service_base {
public:
    static constexpr guid_t class_guid = {
        0xb7c4e9e2, 0x1d0e, 0x4d5b, {0x93, 0x5a, 0x6f, 0x21, 0x8a, 0x40, 0xd7, 0x11}};

    // Both are atomic and return the new count. The object deletes itself when the count reaches zero; a
    // service that lives as long as its module never does.
    virtual int32_t service_release() noexcept = 0;
    virtual int32_t service_add_ref() noexcept = 0;

    // Hands out a counted reference when the object implements the interface `guid`; the caller casts it
    // statically. False leaves `out` null.
    virtual bool service_query(service_base*& out, const guid_t& guid) noexcept = 0;

protected:
    ~service_base() = default;
};

// A counted reference. Not thread-safe itself; the count is.
template <class T>
class service_ptr_t {
public:
    service_ptr_t() noexcept = default;
    service_ptr_t(std::nullptr_t) noexcept {}
    service_ptr_t(T* object) noexcept
        : object_(object)
    {
        if (object_)
            object_->service_add_ref();
    }
    service_ptr_t(const service_ptr_t& other) noexcept
        : service_ptr_t(other.object_)
    {
    }
    service_ptr_t(service_ptr_t&& other) noexcept
        : object_(std::exchange(other.object_, nullptr))
    {
    }
    template <class U>
    requires std::is_convertible_v<U*, T*> service_ptr_t(const service_ptr_t<U>& other)
    noexcept
        : service_ptr_t(other.get())
    {
    }
    ~service_ptr_t() { release(); }

    service_ptr_t& operator=(service_ptr_t other) noexcept
    {
        std::swap(object_, other.object_);
        return *this;
    }

    // Takes over a reference that was already counted, as service_query gives it.
    static service_ptr_t attach(T* counted) noexcept
    {
        service_ptr_t result;
        result.object_ = counted;
        return result;
    }
    T* detach() noexcept { return std::exchange(object_, nullptr); }

    void release() noexcept
    {
        if (T* old = detach())
            old->service_release();
    }
    T* get() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }

private:
    T* object_ = nullptr;
};

// Another interface of `object`, or an empty reference when it does not have it.
template <class T>
service_ptr_t<T> service_query_as(service_base& object) noexcept
{
    service_base* found = nullptr;
    if (!object.service_query(found, T::class_guid))
        return {};
    return service_ptr_t<T>::attach(static_cast<T*>(found));
}

// The query of an implementation: true for `Interface` and everything it derives from.
template <class Interface>
bool service_implements(const guid_t& guid) noexcept
{
    if (guid == Interface::class_guid)
        return true;
    if constexpr (std::is_same_v<Interface, service_base>)
        return false;
    else
        return service_implements<typename Interface::parent>(guid);
}

// Adds counting and query to `T`, a class that implements the interface `Interface` (for a plain
// implementation the two are related as `class foo_impl : public foo`). Objects live on the heap, see
// service_new.
template <class T, class Interface>
class service_impl_t final : public T {
public:
    template <class... Args>
    explicit service_impl_t(Args&&... args)
        : T(std::forward<Args>(args)...)
    {
    }
    virtual ~service_impl_t() = default;

    int32_t service_add_ref() noexcept override { return ++count_; }
    int32_t service_release() noexcept override
    {
        const int32_t left = --count_;
        if (left == 0)
            delete this;
        return left;
    }
    bool service_query(service_base*& out, const guid_t& guid) noexcept override
    {
        out = service_implements<Interface>(guid) ? static_cast<Interface*>(this) : nullptr;
        if (out)
            out->service_add_ref();
        return out != nullptr;
    }

private:
    std::atomic<int32_t> count_{0};
};

// The same for an object with static storage: counted, never freed by its count.
template <class T, class Interface>
class service_impl_single_t final : public T {
public:
    template <class... Args>
    explicit service_impl_single_t(Args&&... args)
        : T(std::forward<Args>(args)...)
    {
    }

    int32_t service_add_ref() noexcept override { return ++count_; }
    int32_t service_release() noexcept override { return --count_; }
    bool service_query(service_base*& out, const guid_t& guid) noexcept override
    {
        out = service_implements<Interface>(guid) ? static_cast<Interface*>(this) : nullptr;
        if (out)
            out->service_add_ref();
        return out != nullptr;
    }

private:
    std::atomic<int32_t> count_{1};
};

// A new heap object that implements T::service_interface.
template <class T, class... Args>
service_ptr_t<T> service_new(Args&&... args)
{
    return service_ptr_t<T>(
        new service_impl_t<T, typename T::service_interface>(std::forward<Args>(args)...));
}
