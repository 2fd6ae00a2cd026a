#include "tests/support/checker/key_rule.h"

#include "tests/support/checker/bytes.h"
#include "tests/support/checker/index_file.h"

namespace ovrasql::checker {

void KeyRule::AddPart(std::vector<std::string> texts, bool mayGoOn) {
    for (std::string& text : texts) {
        text = UpperCase((parts_.empty() ? "" : ":") + text);
    }
    parts_.push_back({std::move(texts), mayGoOn});
}

void KeyRule::AddText(const std::string& value, size_t width) {
    std::vector<std::string> texts = {value};
    if (!value.empty() && value.size() < width) {
        texts.push_back(value + std::string(width - value.size(), ' '));
    }
    AddPart(std::move(texts), false);
}

void KeyRule::AddNumber(const std::string& value, size_t width) {
    AddPart({std::string(width - std::min(width, value.size()), '0') + value}, false);
}

void KeyRule::AddMemo(const std::string& text) {
    AddPart({text.substr(0, kLongestKey)}, text.size() < kLongestKey);
}

void KeyRule::AddOther(const std::string& value) { AddPart({value}, false); }

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
        if (!(*places)[place]) {
            continue;
        }
        for (const std::string& text : part.texts) {
            const size_t rest = key.size() - place;
            if (text.size() > rest) {
                if (key.size() == kLongestKey && text.compare(0, rest, key, place, rest) == 0) {
                    return true;
                }
                continue;
            }
            if (key.compare(place, text.size(), text) != 0) {
                continue;
            }
            const size_t end = place + text.size();
            next[end] = true;
            if (part.mayGoOn && end < key.size() && key[end] == '\x1A') {
                for (size_t later = end + 1; later <= key.size(); ++later) {
                    next[later] = true;
                }
                if (key.size() == kLongestKey) {
                    return true;
                }
            }
        }
    }
    *places = std::move(next);
    return false;
}

std::string KeyRule::Usual() const {
    std::string key;
    for (const Part& part : parts_) {
        key += part.texts.front();
    }
    return key.substr(0, kLongestKey);
}

}  // namespace ovrasql::checker
