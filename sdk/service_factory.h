#pragma once
// The list of services that a component offers, walked by the player from the head that its client gives.
// Every factory is a static object that links itself in front of the module's list while static initialisers
// run; the list's head is therefore the one defined last. All factories of a component stand in one source
// file, since only there the order of construction is defined.

#include "sdk/service.h"

class service_factory_base {
public:
    enum class kind_t : uint32_t {
        multi = 0,     // a new object on each request
        single = 1,    // one static object, never freed
        singleton = 2, // one object, made on the first request
    };

    // The next factory of the list, null at its end.
    virtual service_factory_base* get_next() const noexcept = 0;
    // The class that the service is looked up under.
    virtual guid_t get_class_guid() const noexcept = 0;
    virtual kind_t get_kind() const noexcept = 0;
    // A counted reference to a service of that class. Any thread. Throws what the constructor of the service
    // throws.
    virtual void instance_create(service_ptr_t<service_base>& out) = 0;

    // The head of this module's list.
    static service_factory_base* get_list() noexcept { return head(); }

protected:
    service_factory_base() noexcept
        : next_(head())
    {
        head() = this;
    }
    ~service_factory_base() = default;
    service_factory_base* linked_next() const noexcept { return next_; }

private:
    static service_factory_base*& head() noexcept
    {
        static service_factory_base* list = nullptr;
        return list;
    }
    service_factory_base* next_;
};

// `T` is the implementation; T::service_interface the most derived interface it answers for, T::service_class
// the class it is registered under (for dsp_entry_v4: dsp_entry).
template <class T>
class service_factory_of_t : public service_factory_base {
public:
    service_factory_base* get_next() const noexcept final { return linked_next(); }
    guid_t get_class_guid() const noexcept final { return T::service_class::class_guid; }

protected:
    ~service_factory_of_t() = default;
};

template <class T>
class service_factory_single_t final : public service_factory_of_t<T> {
public:
    template <class... Args>
    explicit service_factory_single_t(Args&&... args)
        : instance_(std::forward<Args>(args)...)
    {
    }
    service_factory_base::kind_t get_kind() const noexcept override
    {
        return service_factory_base::kind_t::single;
    }
    void instance_create(service_ptr_t<service_base>& out) override { out = &instance_; }

private:
    service_impl_single_t<T, typename T::service_interface> instance_;
};

template <class T>
class service_factory_singleton_t final : public service_factory_of_t<T> {
public:
    service_factory_base::kind_t get_kind() const noexcept override
    {
        return service_factory_base::kind_t::singleton;
    }
    void instance_create(service_ptr_t<service_base>& out) override
    {
        static service_ptr_t<T> instance = service_new<T>();
        out = instance;
    }
};
