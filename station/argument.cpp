#include "station/argument.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "station/text.h"

namespace station {

void refuse(const Argument& argument, std::string_view demand) {
    throw std::invalid_argument(std::string(argument.name) + ": '" + std::string(argument.text) +
                                "' is not " + std::string(demand));
}

// Whether the text is a number, which is put into `value`.
static bool isNumber(std::string_view text, double* value) {
    const std::string word(text);
    char* end = nullptr;
    *value = std::strtod(word.c_str(), &end);
    const bool blank = word.empty() || std::isspace(static_cast<unsigned char>(word[0])) != 0;
    return !blank && *end == '\0' && !std::isnan(*value);
}

double number(const Argument& argument, double least, double most) {
    double value = 0;
    if (!isNumber(argument.text, &value) || value < least || value > most) {
        refuse(argument, format("a number from %.0f to %.0f", least, most));
    }
    return value;
}

double integer(const Argument& argument, double least, double most) {
    double value = 0;
    if (!isNumber(argument.text, &value) || value < least || value > most ||
        value != std::floor(value)) {
        refuse(argument, format("a whole number from %.0f to %.0f", least, most));
    }
    return value;
}

}  // namespace station
