#include "shell/names.h"

#include <algorithm>
#include <unordered_set>

#include "shell/catalog.h"

namespace ovrashell {

namespace {

constexpr std::size_t kColumnNameLimit = 10;

bool IsLetter(char byte) { return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z'); }
bool IsDigit(char byte) { return byte >= '0' && byte <= '9'; }

// `name` with `suffix` behind it, cut so that both fit.
std::string WithSuffix(const std::string& name, const std::string& suffix, std::size_t limit) {
    return name.substr(0, limit - suffix.size()) + suffix;
}

// `wanted`, or with the first number behind it that makes it another name than those taken. Takes
// it.
std::string NameBesides(const std::string& wanted, std::unordered_set<std::string>* taken) {
    std::string name = wanted;
    for (int number = 2; !taken->insert(Lowered(name)).second; ++number) {
        name = WithSuffix(wanted, std::to_string(number), kColumnNameLimit);
    }
    return name;
}

}  // namespace

const std::vector<std::string>& ReservedWords() {
    static const std::vector<std::string> words = {
#define KEYWORD(code, name, text) text,
#include "ovrasql/keywords.def"
#undef KEYWORD
    };
    return words;
}

bool IsReserved(std::string_view word) {
    static const std::unordered_set<std::string> words(ReservedWords().begin(),
                                                       ReservedWords().end());
    return words.count(Lowered(word)) > 0;
}

std::string UsableName(std::string_view name, std::size_t limit) {
    std::string usable;
    for (const char byte : name) {
        usable += IsLetter(byte) || IsDigit(byte) ? byte : '_';
    }
    const auto first = std::find_if(usable.begin(), usable.end(),
                                    [](char byte) { return IsLetter(byte) || IsDigit(byte); });
    usable.erase(usable.begin(), first);
    if (usable.empty() || !IsLetter(usable.front())) {
        usable.insert(0, "c");
    }
    usable = usable.substr(0, limit);
    return IsReserved(usable) ? WithSuffix(usable, "_", limit) : usable;
}

std::vector<std::string> UsableColumnNames(const std::vector<std::string>& names) {
    std::vector<std::string> usable(names.size());
    std::unordered_set<std::string> taken;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const bool stays = UsableName(names[i], kColumnNameLimit) == names[i];
        if (stays && taken.insert(Lowered(names[i])).second) {
            usable[i] = names[i];
        }
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (usable[i].empty()) {
            usable[i] = NameBesides(UsableName(names[i], kColumnNameLimit), &taken);
        }
    }
    return usable;
}

}  // namespace ovrashell
