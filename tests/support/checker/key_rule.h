#pragma once

// KeyRule: what the key of a record may be, worked out from its cells. Mostly that is one text: the
// values of the columns joined by ":", numbers filled up with "0" on the left to their column's
// width, all in upper case, and cut.
//
// Two values do not tell from the file what they were when the key was made from them, and then the
// key may be either:
//  - a text that was cut at its column's width behind a blank: the key has the blanks;
//  - a memo with a byte 1A: the key has what stands behind it, while reading ends there.

#include <string>
#include <vector>

namespace ovrasql::checker {

class KeyRule {
  public:
    void AddText(const std::string& value, size_t width);
    void AddNumber(const std::string& value, size_t width);
    void AddMemo(const std::string& text);
    void AddOther(const std::string& value);

    [[nodiscard]] bool Allows(const std::string& key) const;
    [[nodiscard]] std::string Usual() const;  // the key, in all but the two cases

  private:
    struct Part {
        std::vector<std::string> texts;  // any one of them
        bool mayGoOn = false;            // behind a byte 1A
    };
    void AddPart(std::vector<std::string> texts, bool mayGoOn);
    [[nodiscard]] static bool Advance(const Part& part, const std::string& key,
                                      std::vector<bool>* places);

    std::vector<Part> parts_;
};

}  // namespace ovrasql::checker
