#include "platform/simulated/registry_model.h"

#include "platform/io_registry.h"

namespace simulated {

Text addText(Model* model, const std::string& text) {
    const auto place = static_cast<Text>(model->texts.size());
    model->texts.append(text.c_str(), text.size() + 1);
    return place;
}

Model::Model() : entries(1), texts(1, '\0') {
    entries[0].name = addText(this, "Root");
    entries[0].className = addText(this, "IORegistryEntry");
    planeIndex(this, registry::kServicePlane);
}

std::uint32_t planeIndex(Model* model, const char* name) {
    for (std::uint32_t index = 0; index < model->planes.size(); ++index) {
        if (model->planes[index].name == name) return index;
    }
    const auto index = static_cast<std::uint32_t>(model->planes.size());
    model->planes.push_back({name, false, std::vector<PlaneNode>(1)});
    model->entries[0].planes |= 1U << index;
    return index;
}

std::uint32_t appendNode(Model* model, std::uint32_t plane, std::uint32_t parent) {
    std::vector<PlaneNode>& nodes = model->planes[plane].nodes;
    const auto place = static_cast<std::uint32_t>(nodes.size());
    PlaneNode& node = nodes.emplace_back();
    node.entry = static_cast<std::uint32_t>(model->entries.size());
    node.parent = parent;
    model->entries.emplace_back();
    std::uint32_t* link = nodes[parent].lastChild == kNone
                              ? &nodes[parent].firstChild
                              : &nodes[nodes[parent].lastChild].nextSibling;
    *link = nodes[parent].lastChild = place;
    return place;
}

void settleNodes(Model* model, std::uint32_t plane, std::uint32_t first) {
    std::vector<PlaneNode>& nodes = model->planes[plane].nodes;
    const std::uint32_t bit = 1U << plane;
    model->entriesById.reserve(model->entriesById.size() + nodes.size() - first);
    for (std::uint32_t index = first; index < nodes.size(); ++index) {
        PlaneNode& node = nodes[index];
        const std::uint64_t id = model->entries[node.entry].id;
        if (id != 0) node.entry = model->entriesById.emplace(id, node.entry).first->second;
        std::uint32_t& planes = model->entries[node.entry].planes;
        node.repeated = (planes & bit) != 0;
        planes |= bit;
    }
}

}  // namespace simulated
