#pragma once
// Commands of the player's main menu. Everything here is called on the main thread.

#include "sdk/service.h"
#include "sdk/string_out.h"

// Groups that the player's menu bar has.
constexpr guid_t mainmenu_group_visualisations = {
    0x29272fec, 0x21c7, 0x4b00, {0xa9, 0xa7, 0x01, 0xa8, 0xce, 0x67, 0x5e, 0xbf}};
constexpr guid_t mainmenu_group_dsp = {
    0x8af6ee1a, 0x18d5, 0x4b1c, {0xaa, 0x2d, 0xe5, 0x0e, 0xae, 0x3d, 0xc1, 0x17}};

// Bits of the flags word of a menu item.
constexpr uint32_t mainmenu_flag_disabled = 1;
constexpr uint32_t mainmenu_flag_checked = 2;
// Where an item goes that has no wish: lower priorities come first.
constexpr uint32_t mainmenu_priority_dont_care = 0x80000000;

// One item of a dynamic sub-tree, built for one showing of the menu and released afterwards.
class mainmenu_node : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x6d3f8f0c, 0x52b1, 0x4e7a, {0x9c, 0x35, 0x0a, 0x7e, 0x41, 0xd8, 0x26, 0xb3}};
    enum class type_t : uint32_t { group = 0, command = 1, separator = 2 };

    virtual type_t get_type() const noexcept = 0;
    // An empty text of a group shows its children in place.
    virtual void get_display(string_out& text, uint32_t& flags) const = 0;
    virtual size_t get_child_count() const noexcept = 0;
    // Empty when the index is not below the count.
    virtual void get_child(service_ptr_t<mainmenu_node>& out, size_t index) = 0;
    virtual void execute() = 0; // groups and separators: nothing
    // The same command has the same GUID in every tree, so that shortcuts can be bound to it; all zero:
    // nothing can.
    virtual guid_t get_guid() const = 0;
    virtual bool get_description(string_out& out) const = 0; // false: there is none

protected:
    ~mainmenu_node() = default;
};

// Indexes are below get_command_count; others throw std::out_of_range.
class mainmenu_commands : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x2f7b6a43, 0x8e0d, 0x4c19, {0xb6, 0x52, 0x93, 0x1c, 0x7d, 0x04, 0xe5, 0x8f}};

    virtual uint32_t get_command_count() const noexcept = 0;
    virtual guid_t get_command(uint32_t index) const = 0;
    virtual void get_name(uint32_t index, string_out& out) const = 0;
    virtual bool get_description(uint32_t index, string_out& out) const = 0; // false: there is none
    virtual guid_t get_parent() const = 0;                                   // a group's GUID
    virtual uint32_t get_sort_priority() const noexcept = 0;
    // How the item is to be shown now; false hides it.
    virtual bool get_display(uint32_t index, string_out& text, uint32_t& flags) const = 0;
    virtual void execute(uint32_t index) = 0;

protected:
    ~mainmenu_commands() = default;
};

// Commands that are sub-trees made afresh for each showing of the menu.
class mainmenu_commands_v2 : public mainmenu_commands {
public:
    using parent = mainmenu_commands;
    static constexpr guid_t class_guid = {
        0xe682e810, 0x41f3, 0x434d, {0xb0, 0xc7, 0xd4, 0x96, 0x90, 0xe6, 0x5f, 0x87}};

    virtual bool is_command_dynamic(uint32_t index) const = 0;
    // The tree as of now; empty for a command that is not dynamic.
    virtual void dynamic_instantiate(uint32_t index, service_ptr_t<mainmenu_node>& out) = 0;
    // Executes the command of the tree (as of now) that has this GUID; false when none has.
    virtual bool dynamic_execute(uint32_t index, const guid_t& node) = 0;

protected:
    ~mainmenu_commands_v2() = default;
};

// The command of the tree that has this GUID, empty when none has.
inline service_ptr_t<mainmenu_node> mainmenu_find_command(mainmenu_node& tree, const guid_t& guid)
{
    if (tree.get_type() == mainmenu_node::type_t::command)
        return tree.get_guid() == guid ? service_ptr_t<mainmenu_node>(&tree) : nullptr;
    for (size_t i = 0; i < tree.get_child_count(); ++i) {
        service_ptr_t<mainmenu_node> child;
        tree.get_child(child, i);
        if (!child)
            continue;
        if (auto found = mainmenu_find_command(*child, guid))
            return found;
    }
    return nullptr;
}

// What a group answers where only its children matter.
class mainmenu_node_group : public mainmenu_node {
public:
    using service_interface = mainmenu_node;

    type_t get_type() const noexcept override { return type_t::group; }
    void execute() override {}
    guid_t get_guid() const override { return {}; }
    bool get_description(string_out&) const override { return false; }

protected:
    ~mainmenu_node_group() = default;
};

// What a command answers without children.
class mainmenu_node_command : public mainmenu_node {
public:
    using service_interface = mainmenu_node;

    type_t get_type() const noexcept override { return type_t::command; }
    size_t get_child_count() const noexcept override { return 0; }
    void get_child(service_ptr_t<mainmenu_node>& out, size_t) override { out.release(); }

protected:
    ~mainmenu_node_command() = default;
};

// The usual way to execute a dynamic child.
class mainmenu_commands_v2_impl : public mainmenu_commands_v2 {
public:
    using service_interface = mainmenu_commands_v2;
    using service_class = mainmenu_commands;

    bool dynamic_execute(uint32_t index, const guid_t& node) override
    {
        service_ptr_t<mainmenu_node> tree;
        dynamic_instantiate(index, tree);
        const auto found = tree ? mainmenu_find_command(*tree, node) : nullptr;
        if (!found)
            return false;
        found->execute();
        return true;
    }

protected:
    ~mainmenu_commands_v2_impl() = default;
};
