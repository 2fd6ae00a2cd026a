#pragma once

// KeyRule: what the key of a record may be, worked out from its cells. Mostly that is one text: the
// values of the columns joined by ":", numbers filled up with "0" on the left to their column's
// width, all in upper case, and cut.
//
// A memo with a byte 1A does not tell from the file what its key was made from: the key has what
// stands behind that byte, too, while reading ends there.

#include <string>
#include <vector>

namespace ovrasql::checker {

class KeyRule {
  public:
    void AddNumber(const std::string& value, size_t width);
    void AddMemo(const std::string& text);
    void AddOther(const std::string& value);

    [[nodiscard]] bool Allows(const std::string& key) const;
    [[nodiscard]] std::string Usual() const;  // the key, in all but that case

  private:
    struct Part {
        std::string text;
        bool mayGoOn = false;  // behind a byte 1A
    };
    void AddPart(const std::string& text, bool mayGoOn);
    [[nodiscard]] static bool Advance(const Part& part, const std::string& key,
                                      std::vector<bool>* places);

    std::vector<Part> parts_;
};

}  // namespace ovrasql::checker
