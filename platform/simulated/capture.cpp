#include <fcntl.h>
#include <plist/plist.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "platform/simulated/registry_model.h"

// Captures as ioreg prints them. The property list stays in memory as long as the program runs, and
// values are made from it when they are asked for.
namespace simulated {
namespace {

constexpr const char* kChildren = "IORegistryEntryChildren";
constexpr const char* kName = "IORegistryEntryName";
constexpr const char* kClass = "IOObjectClass";
constexpr const char* kLocation = "IORegistryEntryLocation";
constexpr const char* kId = "IORegistryEntryID";
// What ioreg adds to an entry's own properties.
constexpr const char* kStructure[] = {kChildren, kName, kClass, kLocation, kId};

void complain(const char* path, const char* what) {
    fprintf(stderr, "registry capture %s: %s\n", path, what);
}

// The whole file in a malloc'ed buffer, or null with errno set.
char* readFile(const char* path, std::size_t* size) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd == -1) return nullptr;
    struct stat status = {};
    char* content = nullptr;
    std::size_t held = 0;
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
        const auto wanted = static_cast<std::size_t>(status.st_size);
        content = static_cast<char*>(malloc(wanted + 1));
        ssize_t count = 1;
        while (content != nullptr && held < wanted && count > 0) {
            count = read(fd, content + held, wanted - held);
            if (count > 0) held += static_cast<std::size_t>(count);
        }
    } else {
        errno = EINVAL;
    }
    close(fd);
    *size = held;
    return content;
}

struct Parse {
    const char* content;
    std::uint32_t size;
    bool isBinary;
    plist_t list;
};

void* runParse(void* argument) {
    auto* parse = static_cast<Parse*>(argument);
    const auto read = parse->isBinary ? plist_from_bin : plist_from_xml;
    read(parse->content, parse->size, &parse->list);
    return nullptr;
}

// libplist works through nested containers by recursion, so a file that can nest deeply is
// parsed on a stack of its own.
plist_t parseList(const char* content, std::size_t size) {
    constexpr std::size_t kShallowSize = 32768;
    constexpr std::size_t kDeepStack = std::size_t{1} << 28;
    if (size > std::numeric_limits<std::uint32_t>::max()) return nullptr;
    const auto length = static_cast<std::uint32_t>(size);
    Parse parse = {content, length, plist_is_binary(content, length) != 0, nullptr};
    if (size <= kShallowSize && !parse.isBinary) {
        runParse(&parse);
        return parse.list;
    }
    pthread_attr_t attributes;
    pthread_t thread;
    if (pthread_attr_init(&attributes) != 0) return nullptr;
    if (pthread_attr_setstacksize(&attributes, kDeepStack) == 0 &&
        pthread_create(&thread, &attributes, runParse, &parse) == 0) {
        pthread_join(thread, nullptr);
    }
    pthread_attr_destroy(&attributes);
    return parse.list;
}

const char* stringItem(plist_t dictionary, const char* key) {
    const plist_t item = plist_dict_get_item(dictionary, key);
    const char* text = item != nullptr && plist_get_node_type(item) == PLIST_STRING
                           ? plist_get_string_ptr(item, nullptr)
                           : nullptr;
    return text != nullptr ? text : "";
}

std::uint64_t idOf(plist_t dictionary) {
    std::uint64_t id = 0;
    const plist_t item = plist_dict_get_item(dictionary, kId);
    if (item != nullptr && plist_get_node_type(item) == PLIST_UINT) plist_get_uint_val(item, &id);
    return id;
}

NewEntry describe(plist_t dictionary) {
    return {stringItem(dictionary, kName), stringItem(dictionary, kClass),
            stringItem(dictionary, kLocation), idOf(dictionary), dictionary};
}

// Goes through the children of entries without recursion: nesting is limited by memory alone.
class Walk {
  public:
    Walk(Model* model, std::uint32_t plane, const char* path)
        : model_(model), plane_(plane), path_(path) {}

    // Goes through an array of entries whose parent is `parent`.
    void through(plist_t array, std::uint32_t parent) {
        descend(array, parent);
        while (!levels_.empty()) {
            const Level& level = levels_.back();
            const std::uint32_t above = level.parent;
            plist_t child = nullptr;
            plist_array_next_item(level.array, level.position, &child);
            if (child == nullptr) {
                free(level.position);
                levels_.pop_back();
            } else if (plist_get_node_type(child) == PLIST_DICT) {
                const std::uint32_t node = appendEntry(model_, plane_, above, describe(child));
                childrenOf(child, node);
            } else {
                complainOnce("an entry that is no dictionary is left out");
            }
        }
    }

    // Goes through the children of an entry that stands at `node`.
    void childrenOf(plist_t dictionary, std::uint32_t node) {
        const plist_t children = plist_dict_get_item(dictionary, kChildren);
        if (children == nullptr) return;
        if (plist_get_node_type(children) == PLIST_ARRAY) {
            descend(children, node);
        } else {
            complainOnce("children that are no array are left out");
        }
    }

  private:
    struct Level {
        plist_t array;
        plist_array_iter position;
        std::uint32_t parent;
    };

    void descend(plist_t array, std::uint32_t parent) {
        plist_array_iter position = nullptr;
        plist_array_new_iter(array, &position);
        if (position != nullptr) levels_.push_back({array, position, parent});
    }

    void complainOnce(const char* what) {
        if (!complained_) complain(path_, what);
        complained_ = true;
    }

    Model* model_;
    std::uint32_t plane_;
    const char* path_;
    bool complained_ = false;
    std::vector<Level> levels_;
};

}  // namespace

bool loadCapture(Model* model, std::uint32_t plane, const char* path, bool optional) {
    std::size_t size = 0;
    char* content = readFile(path, &size);
    if (content == nullptr) {
        if (optional && errno == ENOENT) return true;
        complain(path, strerror(errno));
        return false;
    }
    const plist_t list = parseList(content, size);
    free(content);
    const plist_type type = list != nullptr ? plist_get_node_type(list) : PLIST_NONE;
    if (type != PLIST_DICT && type != PLIST_ARRAY) {
        complain(path, "not a property list of registry entries");
        return false;
    }
    Walk walk(model, plane, path);
    if (type == PLIST_ARRAY) {
        walk.through(list, 0);
        return true;
    }
    // A dictionary is the root of the plane, as ioreg prints a whole one.
    if (model->entries[0].captured == nullptr) model->entries[0].captured = list;
    const plist_t children = plist_dict_get_item(list, kChildren);
    if (children != nullptr && plist_get_node_type(children) == PLIST_ARRAY) {
        walk.through(children, 0);
    } else if (children != nullptr) {
        complain(path, "children that are no array are left out");
    }
    return true;
}

static property::Value numberFrom(std::uint64_t bits) {
    const auto number = static_cast<std::int64_t>(bits);
    if (number >= std::numeric_limits<std::int32_t>::min() &&
        number <= std::numeric_limits<std::uint32_t>::max()) {
        const auto narrowed = static_cast<std::int32_t>(number);
        return property::CreateNumber(property::kInt32, &narrowed);
    }
    return property::CreateNumber(property::kInt64, &number);
}

static property::Value valueFrom(plist_t item) {
    std::uint64_t length = 0;
    switch (plist_get_node_type(item)) {
        case PLIST_BOOLEAN: {
            std::uint8_t boolean = 0;
            plist_get_bool_val(item, &boolean);
            return property::CreateBoolean(boolean != 0);
        }
        case PLIST_UINT: {
            std::uint64_t number = 0;
            plist_get_uint_val(item, &number);
            return numberFrom(number);
        }
        case PLIST_REAL: {
            double number = 0;
            plist_get_real_val(item, &number);
            return property::CreateNumber(property::kFloat64, &number);
        }
        case PLIST_STRING: {
            const char* text = plist_get_string_ptr(item, &length);
            return text != nullptr ? property::CreateString(text, property::kUtf8) : nullptr;
        }
        case PLIST_DATA: {
            const char* bytes = plist_get_data_ptr(item, &length);
            return property::CreateData(reinterpret_cast<const std::uint8_t*>(bytes),
                                        static_cast<std::int64_t>(length));
        }
        default:
            return CreateOther();
    }
}

property::Value capturedProperty(void* captured, const char* name) {
    for (const char* structural : kStructure) {
        if (strcmp(name, structural) == 0) return nullptr;
    }
    const plist_t item = plist_dict_get_item(captured, name);
    return item != nullptr ? valueFrom(item) : nullptr;
}

}  // namespace simulated
