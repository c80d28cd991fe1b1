#include <dlfcn.h>
#include <plist/plist.h>

#include <cstdio>

// libplist, loaded by the first call: a run that reads no capture does not pay for it at its start.
// The functions stand here under their own names and pass the calls on, so that the callers need
// not know.

static void* load() {
    void* loaded = dlopen(TARNWICK_PLIST_LIBRARY, RTLD_LAZY | RTLD_LOCAL);
    if (loaded == nullptr) fprintf(stderr, "registry capture: %s\n", dlerror());
    return loaded;
}

static void* library() {
    static void* const loaded = load();
    return loaded;
}

// Without the library the answer is the zero of its type, and what is to be filled stays as it was:
// a list that is to be read stays null.
template <auto function, typename... Arguments>
static auto pass(const char* name, Arguments... arguments) {
    static const auto target = library() != nullptr
                                   ? reinterpret_cast<decltype(function)>(dlsym(library(), name))
                                   : nullptr;
    using Result = decltype(function(arguments...));
    return target != nullptr ? target(arguments...) : static_cast<Result>(0);
}

// In some releases these two have a result.
decltype(plist_from_xml({}, {}, {})) plist_from_xml(const char* text, uint32_t length,
                                                    plist_t* list) {
    return pass<plist_from_xml>("plist_from_xml", text, length, list);
}

decltype(plist_from_bin({}, {}, {})) plist_from_bin(const char* bytes, uint32_t length,
                                                    plist_t* list) {
    return pass<plist_from_bin>("plist_from_bin", bytes, length, list);
}

int plist_is_binary(const char* data, uint32_t length) {
    return pass<plist_is_binary>("plist_is_binary", data, length);
}

plist_type plist_get_node_type(plist_t node) {
    return pass<plist_get_node_type>("plist_get_node_type", node);
}

plist_t plist_dict_get_item(plist_t node, const char* key) {
    return pass<plist_dict_get_item>("plist_dict_get_item", node, key);
}

void plist_array_new_iter(plist_t node, plist_array_iter* iterator) {
    pass<plist_array_new_iter>("plist_array_new_iter", node, iterator);
}

void plist_array_next_item(plist_t node, plist_array_iter iterator, plist_t* item) {
    pass<plist_array_next_item>("plist_array_next_item", node, iterator, item);
}

const char* plist_get_string_ptr(plist_t node, uint64_t* length) {
    return pass<plist_get_string_ptr>("plist_get_string_ptr", node, length);
}

const char* plist_get_data_ptr(plist_t node, uint64_t* length) {
    return pass<plist_get_data_ptr>("plist_get_data_ptr", node, length);
}

void plist_get_bool_val(plist_t node, uint8_t* value) {
    pass<plist_get_bool_val>("plist_get_bool_val", node, value);
}

void plist_get_uint_val(plist_t node, uint64_t* value) {
    pass<plist_get_uint_val>("plist_get_uint_val", node, value);
}

void plist_get_real_val(plist_t node, double* value) {
    pass<plist_get_real_val>("plist_get_real_val", node, value);
}
