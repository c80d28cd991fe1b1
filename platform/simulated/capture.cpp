#include "platform/simulated/capture.h"

#include <expat.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>

#include "platform/simulated/registry_model.h"
#include "platform/simulated/simulated_values.h"
#include "platform/simulated/station_root.h"

namespace simulated {
namespace {

// Captures of a Mac have up to some 30 MB and 30 levels.
constexpr std::uint64_t kMostBytes = std::uint64_t{256} << 20;  // of all captures together
constexpr std::size_t kMostLevels = 1000;
constexpr int kChunk = 1 << 14;
// Expat looks at an unfinished tag or comment from its beginning with each chunk.
constexpr std::uint64_t kLongestTag = std::uint64_t{1} << 20;

// The keys that ioreg adds to an entry's own properties. From the sixth on they tell its state,
// which nobody asks for.
constexpr const char* kAdded[] = {
    "IORegistryEntryChildren", "IORegistryEntryName", "IOObjectClass",
    "IORegistryEntryLocation", "IORegistryEntryID",   "IOObjectRetainCount",
    "IOServiceState",          "IOServiceBusyState",  "IOServiceBusyTime"};
enum Structure { kChildren, kName, kClass, kLocation, kId, kState, kProperty = std::size(kAdded) };

// The elements inside of a property list, the frequent ones first.
enum Element : std::uint8_t {
    kKey,
    kString,
    kInteger,
    kDict,
    kArray,
    kTrue,
    kFalse,
    kData,
    kReal,
    kDate,
    kNoElement
};
constexpr const char* kElements[] = {"key",  "string", "integer", "dict", "array",
                                     "true", "false",  "data",    "real", "date"};

// The 64-bit names of these calls are missing from the expat of Debian 12.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
std::uint64_t lineOf(XML_Parser parser) {
    return XML_GetCurrentLineNumber(parser);
}
std::int64_t offsetOf(XML_Parser parser) {
    return XML_GetCurrentByteIndex(parser);
}
#pragma GCC diagnostic pop

constexpr const char* kNotEntries =
    "a property list, but not of registry entries; take the capture with ioreg -a -l";

constexpr const char* kArchive =
    "the archive of a registry viewer, not a capture; take one on that Mac with ioreg -a -l";

bool isContainer(Element element) {
    return element == kDict || element == kArray;
}

// Whether `text` stands in the file, of which `piece` has been read, or in what follows it.
bool holds(int fd, std::string piece, std::string_view text) {
    char chunk[kChunk];
    while (piece.find(text) == piece.npos) {
        const ssize_t count = read(fd, chunk, sizeof chunk);
        if (count <= 0) return false;
        // The text may have begun in the piece before.
        piece.erase(0, piece.size() - std::min(piece.size(), text.size()));
        piece.append(chunk, static_cast<std::size_t>(count));
    }
    return true;
}

std::uint64_t integerOf(const char* text) {
    return strtoull(text, nullptr, strchr(text, 'x') != nullptr ? 16 : 10);
}

// A container that is open in the file. The rules of the reader's state:
// 1. An entry's keys and values come in turn. `hasKey` is true from the end of a key to the end of
//    its value, or to the start of one that is a container; `key` is valid as long.
// 2. The text of a key or of a value opens no level. While it is read, leaf_ is its element, else
//    kNoElement; no other element may begin in it.
// 3. keeps_ and textBegin_ are valid while leaf_ is an element. keeps_: the text is an entry's own,
//    so the innermost level is a kEntry. textBegin_: where it begins in the model's texts.
// 4. key_ is valid while the innermost level has a key that is kProperty: where the property's name
//    begins. The value's text follows it; other keys, and an id, are taken out of the texts again.
struct Level {
    enum Kind { kEntry, kEntries, kValue } kind;
    std::uint32_t node;         // kEntry: its own; kEntries: their parent's; kValue: unused
    Structure key = kProperty;  // kEntry, see 1
    bool hasKey = false;        // kEntry, see 1
    bool isEntry = false;       // kEntry: a key of the structure has been seen
};

class Reader {
  public:
    Reader(Model* model, std::uint32_t plane)
        : model_(model), plane_(plane), parser_(XML_ParserCreate(nullptr)) {
        XML_SetUserData(parser_, this);
        XML_SetElementHandler(
            parser_, [](void* self, const char* name, const char**) { reader(self)->start(name); },
            [](void* self, const char*) { reader(self)->end(); });
        XML_SetCharacterDataHandler(parser_, [](void* self, const char* text, int size) {
            reader(self)->appendText(text, size);
        });
        // Entities of the file's own could make a text of any size.
        XML_SetEntityDeclHandler(parser_, [](void* self, const char*, int, const char*, int,
                                             const char*, const char*, const char*, const char*) {
            reader(self)->refuse("declares entities, which no capture does");
        });
    }
    ~Reader() { XML_ParserFree(parser_); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    // Reads to the end of the file. What is wrong with it, or an empty text.
    std::string read(int fd) {
        struct stat status = {};
        if (fstat(fd, &status) == -1) return strerror(errno);
        checkSize(static_cast<std::uint64_t>(status.st_size));
        bool atEnd = false;
        while (!atEnd && problem_.empty()) {
            void* chunk = XML_GetBuffer(parser_, kChunk);
            if (chunk == nullptr) return strerror(ENOMEM);
            const ssize_t count = ::read(fd, chunk, kChunk);
            if (count == -1) return strerror(errno);
            atEnd = count == 0;
            if (fed_ == 0) recognise(fd, {static_cast<const char*>(chunk), std::size_t(count)});
            fed_ += static_cast<std::uint64_t>(count);
            model_->bytesRead += static_cast<std::uint64_t>(count);
            checkSize(0);  // the file may grow
            if (problem_.empty()) parse(static_cast<int>(count));
        }
        return problem_;
    }

  private:
    static Reader* reader(void* self) { return static_cast<Reader*>(self); }

    void refuse(const std::string& problem) {
        if (problem_.empty()) problem_ = problem;
        XML_StopParser(parser_, XML_FALSE);
    }

    void refuseHere(const std::string& problem) {
        refuse("line " + std::to_string(lineOf(parser_)) + ": " + problem);
    }

    void checkSize(std::uint64_t more) {
        if (model_->bytesRead + more > kMostBytes) refuse("larger than any capture (256 MiB)");
    }

    // Files that people take for captures, and files that are easily made captures. `head` is what
    // has been read of the file.
    void recognise(int fd, std::string_view head) {
        if (head.empty()) refuse("empty; take the capture with ioreg -a -l");
        if (head.compare(0, 6, "bplist") == 0) {
            refuse(holds(fd, std::string(head), "NSKeyedArchiver")
                       ? kArchive
                       : "a binary property list; make it XML with plutil -convert xml1");
        }
        const std::size_t begin = head.find_first_not_of(" \t\r\n");
        if (begin != head.npos && head.compare(begin, 3, "+-o") == 0) {
            refuse("the text that ioreg prints without -a; take the capture with ioreg -a -l");
        }
    }

    void parse(int count) {
        const bool isWhole = XML_ParseBuffer(parser_, count, count == 0) == XML_STATUS_OK;
        if (!problem_.empty()) return;
        if (!isWhole) {
            refuseHere((count == 0 ? "ends too early"
                                   : std::string(XML_ErrorString(XML_GetErrorCode(parser_)))) +
                       "; not the XML that ioreg -a -l prints");
        } else if (count > 0 && offsetOf(parser_) >= 0 &&
                   fed_ - static_cast<std::uint64_t>(offsetOf(parser_)) > kLongestTag) {
            refuseHere("a tag or comment of more than 1 MiB");
        } else if (count == 0 && !seenTop_) {
            refuse(kNotEntries);
        }
    }

    void start(const char* name) {
        if (!problem_.empty()) return;
        if (!seenPlist_) return startPlist(name);
        int element = 0;
        while (element < kNoElement && strcmp(name, kElements[element]) != 0) ++element;
        if (element == kNoElement || leaf_ != kNoElement) {
            return refuseHere("<" + std::string(name) + ">: no property list has it here");
        }
        startElement(static_cast<Element>(element));
    }

    void startPlist(const char* name) {
        seenPlist_ = true;
        if (strcmp(name, "plist") == 0) return;
        refuseHere("<" + std::string(name) +
                   ">: no property list; take the capture with ioreg -a -l");
    }

    void startElement(Element element) {
        if (levels_.empty()) return startTop(element);
        switch (levels_.back().kind) {
            case Level::kEntries:
                return startEntry(element);
            case Level::kEntry:
                return startInEntry(element);
            case Level::kValue:
                return startInValue(element);
        }
    }

    void startTop(Element element) {
        if (seenTop_ || !isContainer(element)) return refuseHere(kNotEntries);
        seenTop_ = true;
        // A dictionary is the root of the plane, as ioreg prints a whole one.
        open({element == kDict ? Level::kEntry : Level::kEntries, 0});
    }

    void startEntry(Element element) {
        if (element != kDict) return refuseHere(kNotEntries);
        open({Level::kEntry, appendNode(model_, plane_, levels_.back().node)});
    }

    void startInEntry(Element element) {
        Level& level = levels_.back();
        if (level.hasKey == (element == kKey)) return refuseHere("no key and value in turn");
        if (!level.hasKey) return startText(element, true);
        if (level.key == kChildren) {
            if (element != kArray) return refuseHere(kNotEntries);
            level.hasKey = false;
            return open({Level::kEntries, level.node});
        }
        if (!isContainer(element)) return startText(element, true);
        // What tells an entry from others is a text or a number.
        if (level.key < kState) return refuseHere(kNotEntries);
        endValue(&level, element);
        open({Level::kValue, 0});
    }

    void startInValue(Element element) {
        if (isContainer(element)) return open({Level::kValue, 0});
        startText(element, false);
    }

    void startText(Element element, bool keeps) {
        leaf_ = element;
        keeps_ = keeps;
        textBegin_ = model_->texts.size();
    }

    void open(const Level& level) {
        // Entries stand in arrays, which are no level of their own.
        depth_ += level.kind == Level::kEntries ? 0 : 1;
        if (depth_ > kMostLevels) return refuseHere("nests deeper than 1,000 levels");
        levels_.push_back(level);
    }

    void end() {
        if (!problem_.empty()) return;
        if (leaf_ != kNoElement) {
            if (keeps_) endText();
            leaf_ = kNoElement;
        } else if (!levels_.empty()) {
            endLevel();
        }
    }

    void endLevel() {
        const Level& level = levels_.back();
        if (level.kind == Level::kEntry && (level.hasKey || !level.isEntry)) {
            refuseHere(kNotEntries);
        }
        depth_ -= level.kind == Level::kEntries ? 0 : 1;
        levels_.pop_back();
    }

    void appendText(const char* text, int size) {
        if (leaf_ != kNoElement && keeps_) {
            model_->texts.append(text, static_cast<std::size_t>(size));
        }
    }

    // The end of an entry's key or value, whose text stands last in the model's texts.
    void endText() {
        model_->texts.push_back('\0');
        if (leaf_ == kKey) {
            endKey(&levels_.back());
        } else {
            endValue(&levels_.back(), leaf_);
        }
    }

    void endKey(Level* level) {
        const char* key = &model_->texts[textBegin_];
        if (levels_.size() == 1 && strcmp(key, "$archiver") == 0) refuse(kArchive);
        int structure = strncmp(key, "IO", 2) == 0 ? 0 : kProperty;
        while (structure < kProperty && strcmp(key, kAdded[structure]) != 0) ++structure;
        level->key = static_cast<Structure>(structure);
        level->hasKey = true;
        key_ = static_cast<Text>(textBegin_);
        if (level->key == kProperty) return;
        level->isEntry = true;
        model_->texts.resize(textBegin_);
    }

    void endValue(Level* level, Element element) {
        PlaneNode& node = model_->planes[plane_].nodes[level->node];
        EntryRecord& entry = model_->entries[node.entry];
        const Text text = static_cast<Text>(textBegin_);
        level->hasKey = false;
        switch (level->key) {
            case kName:
                node.name = entry.name = text;
                return;
            case kClass:
                entry.className = text;
                return;
            case kLocation:
                node.location = text;
                return;
            case kProperty:
                model_->captured.push_back({key_, entry.firstCaptured, element});
                entry.firstCaptured = static_cast<std::uint32_t>(model_->captured.size() - 1);
                return;
            case kId:
                entry.id = integerOf(&model_->texts[text]);
                break;
            default:
                break;
        }
        model_->texts.resize(text);
    }

    Model* model_;
    std::uint32_t plane_;
    XML_Parser parser_;
    std::string problem_;        // written by refuse; empty: nothing is wrong so far
    std::uint64_t fed_ = 0;      // bytes of the file
    bool seenPlist_ = false;     // its tag; everything else stands in it
    bool seenTop_ = false;       // the one container in it has begun
    std::vector<Level> levels_;  // outermost first; empty before the top and behind it
    std::size_t depth_ = 0;      // the levels that are no kEntries; open and endLevel write both
    Element leaf_ = kNoElement;  // see Level for these
    bool keeps_ = false;
    std::size_t textBegin_ = 0;
    Text key_ = 0;
};

}  // namespace

bool loadCapture(Model* model, std::uint32_t plane, const std::string& path, std::string* problem) {
    const char* refusal = "";
    const int fd = openRegular(path.c_str(), &refusal);
    *problem = refusal;
    if (fd != -1) {
        const auto first = static_cast<std::uint32_t>(model->planes[plane].nodes.size());
        *problem = Reader(model, plane).read(fd);
        close(fd);
        if (problem->empty()) settleNodes(model, plane, first);
    }
    if (!problem->empty()) *problem = "registry capture " + path + ": " + *problem;
    return problem->empty();
}

// The text behind the key of a property.
static const char* valueText(const Model& model, const CapturedProperty& captured) {
    const char* key = &model.texts[captured.key];
    return key + strlen(key) + 1;
}

static property::Value numberFrom(const char* text) {
    const auto number = static_cast<std::int64_t>(integerOf(text));
    if (number >= std::numeric_limits<std::int32_t>::min() &&
        number <= std::numeric_limits<std::uint32_t>::max()) {
        const auto narrowed = static_cast<std::int32_t>(number);
        return property::CreateNumber(property::kInt32, &narrowed);
    }
    return property::CreateNumber(property::kInt64, &number);
}

static property::Value dataFrom(const char* text) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    std::uint32_t bits = 0;
    int held = 0;
    for (; *text != '\0' && *text != '='; ++text) {
        const char* digit = strchr(kDigits, *text);
        if (digit == nullptr) continue;  // the lines are indented
        bits = bits << 6 | static_cast<std::uint32_t>(digit - kDigits);
        held += 6;
        if (held < 8) continue;
        held -= 8;
        bytes.push_back(static_cast<char>(bits >> held));
    }
    return property::CreateData(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                static_cast<std::int64_t>(bytes.size()));
}

static property::Value valueFrom(const Model& model, const CapturedProperty& captured) {
    double real = 0;
    switch (captured.element) {
        case kTrue:
        case kFalse:
            return property::CreateBoolean(captured.element == kTrue);
        case kInteger:
            return numberFrom(valueText(model, captured));
        case kReal:
            real = strtod(valueText(model, captured), nullptr);
            return property::CreateNumber(property::kFloat64, &real);
        case kString:
            return property::CreateString(valueText(model, captured), property::kUtf8);
        case kData:
            return dataFrom(valueText(model, captured));
        default:
            return CreateOther();
    }
}

property::Value capturedProperty(const Model& model, const EntryRecord& entry, const char* name) {
    std::uint32_t next = entry.firstCaptured;
    while (next != kNone && strcmp(&model.texts[model.captured[next].key], name) != 0) {
        next = model.captured[next].next;
    }
    return next != kNone ? valueFrom(model, model.captured[next]) : nullptr;
}

bool readCallouts(const std::string& path, std::vector<std::string>* callouts,
                  std::string* problem) {
    Model model;
    if (!loadCapture(&model, 0, path, problem)) return false;
    for (const CapturedProperty& captured : model.captured) {
        if (strcmp(&model.texts[captured.key], "IOCalloutDevice") != 0) continue;
        callouts->emplace_back(captured.element == kString ? valueText(model, captured) : "");
    }
    return true;
}

}  // namespace simulated
