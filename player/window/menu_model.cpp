#include "player/window/menu_model.h"

#include "sdk/host_api.h"

#include <algorithm>

namespace player {

namespace {

constexpr int deepest_tree = 8; // a tree that contains itself must end somewhere

struct provider_command {
    service_ptr_t<mainmenu_commands> provider;
    service_ptr_t<mainmenu_commands_v2> dynamic; // empty: a plain command
    uint32_t index;
};

std::vector<provider_command> list_commands()
{
    std::vector<service_ptr_t<mainmenu_commands>> providers;
    service_enumerate<mainmenu_commands>([&](mainmenu_commands& provider) {
        providers.emplace_back(&provider);
        return true;
    });
    std::stable_sort(providers.begin(), providers.end(), [](const auto& a, const auto& b) {
        return a->get_sort_priority() < b->get_sort_priority();
    });
    std::vector<provider_command> commands;
    for (const auto& provider : providers) {
        const auto second = service_query_as<mainmenu_commands_v2>(*provider);
        for (uint32_t i = 0; i < provider->get_command_count(); ++i)
            commands.push_back({provider, second && second->is_command_dynamic(i) ? second : nullptr, i});
    }
    return commands;
}

void add_tree(std::vector<menu_entry>& list, const service_ptr_t<mainmenu_node>& node, int depth)
{
    if (!node || depth == deepest_tree)
        return;
    menu_entry entry;
    string_out_impl text;
    node->get_display(text, entry.flags);
    entry.text = text.text;
    switch (node->get_type()) {
    case mainmenu_node::type_t::separator:
        entry.what = menu_entry::kind::separator;
        break;
    case mainmenu_node::type_t::command:
        entry.guid = node->get_guid();
        if (string_out_impl description; node->get_description(description))
            entry.description = description.text;
        entry.run = [node] { node->execute(); };
        break;
    case mainmenu_node::type_t::group: {
        entry.what = menu_entry::kind::group;
        // A group without a text shows its children in its own place.
        std::vector<menu_entry>& into = entry.text.empty() ? list : entry.children;
        for (size_t i = 0; i < node->get_child_count(); ++i) {
            service_ptr_t<mainmenu_node> child;
            node->get_child(child, i);
            add_tree(into, child, depth + 1);
        }
        if (entry.text.empty())
            return;
        break;
    }
    }
    list.push_back(std::move(entry));
}

// False when the command is hidden now.
bool describe(const provider_command& command, menu_entry& entry)
{
    const auto& [provider, dynamic, index] = command;
    string_out_impl text;
    if (!provider->get_display(index, text, entry.flags))
        return false;
    entry.text = text.text;
    entry.guid = provider->get_command(index);
    if (string_out_impl description; provider->get_description(index, description))
        entry.description = description.text;
    if (!dynamic) {
        entry.run = [provider = provider, index = index] { provider->execute(index); };
        return true;
    }
    entry.what = menu_entry::kind::group;
    service_ptr_t<mainmenu_node> tree;
    dynamic->dynamic_instantiate(index, tree);
    add_tree(entry.children, tree, 0);
    return true;
}

void flatten(std::vector<menu_entry>& list, const menu_entry& entry)
{
    if (entry.what == menu_entry::kind::command && !(entry.guid == guid_t()))
        list.push_back(entry);
    for (const menu_entry& child : entry.children)
        flatten(list, child);
}

} // namespace

std::vector<menu_entry> menu_of_group(const guid_t& group, const std::vector<guid_t>& groups)
{
    std::vector<menu_entry> list;
    for (const provider_command& command : list_commands()) {
        guid_t belongs_to = command.provider->get_parent();
        if (std::find(groups.begin(), groups.end(), belongs_to) == groups.end())
            belongs_to = {};
        menu_entry entry;
        if (belongs_to == group && describe(command, entry))
            list.push_back(std::move(entry));
    }
    return list;
}

std::vector<menu_entry> all_commands()
{
    std::vector<menu_entry> list;
    for (const provider_command& command : list_commands()) {
        menu_entry entry;
        if (describe(command, entry))
            flatten(list, entry);
    }
    return list;
}

bool run_command(const guid_t& guid)
{
    for (const auto& [provider, dynamic, index] : list_commands()) {
        if (dynamic) {
            if (dynamic->dynamic_execute(index, guid))
                return true;
        } else if (provider->get_command(index) == guid) {
            provider->execute(index);
            return true;
        }
    }
    return false;
}

} // namespace player
