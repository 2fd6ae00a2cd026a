#include "tests/support/checker/key_rule.h"

#include <algorithm>

#include "tests/support/checker/bytes.h"
#include "tests/support/checker/index_file.h"

namespace ovrasql::checker {

void KeyRule::AddPart(const std::string& text, bool mayGoOn) {
    parts_.push_back({UpperCase((parts_.empty() ? "" : ":") + text), mayGoOn});
}

void KeyRule::AddNumber(const std::string& value, size_t width) {
    AddPart(std::string(width - std::min(width, value.size()), '0') + value, false);
}

void KeyRule::AddMemo(const std::string& text) {
    AddPart(text.substr(0, kLongestKey), text.size() < kLongestKey);
}

void KeyRule::AddOther(const std::string& value) { AddPart(value, false); }

// Walks the key and the parts together, with all places in the key that the parts so far may end
// at.
bool KeyRule::Allows(const std::string& key) const {
    std::vector<bool> places(key.size() + 1);
    places[0] = true;
    for (const Part& part : parts_) {
        if (Advance(part, key, &places)) {
            return true;
        }
    }
    return places[key.size()];
}

// Moves the places over one part. True when the key is one that was cut within the part.
bool KeyRule::Advance(const Part& part, const std::string& key, std::vector<bool>* places) {
    std::vector<bool> next(places->size());
    for (size_t place = 0; place <= key.size(); ++place) {
        const size_t rest = key.size() - place;
        if (!(*places)[place]) {
            continue;
        }
        if (part.text.size() > rest) {
            if (key.size() == kLongestKey && part.text.compare(0, rest, key, place, rest) == 0) {
                return true;
            }
            continue;
        }
        if (key.compare(place, part.text.size(), part.text) != 0) {
            continue;
        }
        const size_t end = place + part.text.size();
        next[end] = true;
        if (part.mayGoOn && end < key.size() && key[end] == '\x1A') {
            std::fill(next.begin() + static_cast<std::ptrdiff_t>(end), next.end(), true);
            if (key.size() == kLongestKey) {
                return true;
            }
        }
    }
    *places = std::move(next);
    return false;
}

std::string KeyRule::Usual() const {
    std::string key;
    for (const Part& part : parts_) {
        key += part.text;
    }
    return key.substr(0, kLongestKey);
}

}  // namespace ovrasql::checker
