#pragma once
// Parameter changes and events of one process call. Everything is allocated in advance; when there is no room
// left, a change is dropped.

#include "vsthost/vst3/vst3_abi.h"

#include <algorithm>
#include <vector>

namespace vsthost::v3 {

class param_queue final : public param_queue_interface {
public:
    static constexpr int32_t most_points = 16;

    void begin(v3_param_id id) noexcept
    {
        id_ = id;
        count_ = 0;
    }

    v3_result V3_API query_interface(const uint8_t* iid, void** object) override
    {
        if (offer<param_queue_interface>(this, iid, v3_funknown_iid, object) ||
            offer<param_queue_interface>(this, iid, v3_param_value_queue_iid, object))
            return ok;
        *object = nullptr;
        return no_interface;
    }
    uint32_t V3_API add_ref() override { return 1; }
    uint32_t V3_API release() override { return 1; }
    v3_param_id V3_API get_param_id() override { return id_; }
    int32_t V3_API get_point_count() override { return count_; }
    v3_result V3_API get_point(int32_t index, int32_t* offset, double* value) override
    {
        if (index < 0 || index >= count_ || offset == nullptr || value == nullptr)
            return invalid_argument;
        *offset = points_[index].offset;
        *value = points_[index].value;
        return ok;
    }
    // The last of too many points replaces the one before: a meter wants the newest.
    v3_result V3_API add_point(int32_t offset, double value, int32_t* index) override
    {
        if (count_ < most_points)
            ++count_;
        points_[count_ - 1] = {offset, value};
        if (index != nullptr)
            *index = count_ - 1;
        return ok;
    }

private:
    struct point {
        int32_t offset;
        double value;
    };
    v3_param_id id_ = 0;
    int32_t count_ = 0;
    point points_[most_points] = {};
};

class param_changes final : public param_changes_interface {
public:
    void allocate(size_t parameters) { queues_.resize(parameters); }
    void clear() noexcept { count_ = 0; }
    v3_param_changes** get() { return as<v3_param_changes>(static_cast<param_changes_interface*>(this)); }

    v3_result V3_API query_interface(const uint8_t* iid, void** object) override
    {
        if (offer<param_changes_interface>(this, iid, v3_funknown_iid, object) ||
            offer<param_changes_interface>(this, iid, v3_param_changes_iid, object))
            return ok;
        *object = nullptr;
        return no_interface;
    }
    uint32_t V3_API add_ref() override { return 1; }
    uint32_t V3_API release() override { return 1; }
    int32_t V3_API get_param_count() override { return static_cast<int32_t>(count_); }
    param_queue_interface* V3_API get_param_data(int32_t index) override
    {
        return index >= 0 && static_cast<size_t>(index) < count_ ? &queues_[static_cast<size_t>(index)]
                                                                 : nullptr;
    }
    param_queue_interface* V3_API add_param_data(const v3_param_id* id, int32_t* index) override
    {
        if (id == nullptr)
            return nullptr;
        size_t i = 0;
        while (i < count_ && queues_[i].get_param_id() != *id)
            ++i;
        if (i == queues_.size())
            return nullptr;
        if (i == count_) {
            queues_[i].begin(*id);
            ++count_;
        }
        if (index != nullptr)
            *index = static_cast<int32_t>(i);
        return &queues_[i];
    }

private:
    std::vector<param_queue> queues_;
    size_t count_ = 0;
};

// Effects get no events, and theirs go nowhere.
class event_list final : public event_list_interface {
public:
    v3_event_list** get() { return as<v3_event_list>(static_cast<event_list_interface*>(this)); }

    v3_result V3_API query_interface(const uint8_t* iid, void** object) override
    {
        if (offer<event_list_interface>(this, iid, v3_funknown_iid, object) ||
            offer<event_list_interface>(this, iid, v3_event_list_iid, object))
            return ok;
        *object = nullptr;
        return no_interface;
    }
    uint32_t V3_API add_ref() override { return 1; }
    uint32_t V3_API release() override { return 1; }
    int32_t V3_API get_event_count() override { return 0; }
    v3_result V3_API get_event(int32_t, v3_event*) override { return invalid_argument; }
    v3_result V3_API add_event(v3_event*) override { return ok; }
};

} // namespace vsthost::v3
