#pragma once

// HostVariable and HostVariableList: the host's script variables, as far as the library uses them.
// A variable has a text, and elements counted from 1 and named members, which it owns.

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace ovrahost {

class HostVariable {
  public:
    HostVariable() = default;
    explicit HostVariable(std::string text) : text_(std::move(text)) {}

    const std::string& Text() const { return text_; }

    // Also drops the elements and members when the text is empty: that is how a variable is
    // cleared.
    void SetText(std::string text);

    // Null when there is no such element and `create` is false.
    HostVariable* Element(int32_t index, bool create);
    HostVariable* Member(const std::string& name, bool create);

    // Whether an element or a member, of this one or within it, could not be made.
    void NotePartLacking() { lacksPart_ = true; }
    bool LacksPart() const;

  private:
    std::string text_;
    bool lacksPart_ = false;
    std::map<int32_t, std::unique_ptr<HostVariable>> elements_;
    std::map<std::string, std::unique_ptr<HostVariable>> members_;
};

// The parameters of one call, in order, with the walk that the library makes over them.
class HostVariableList {
  public:
    void Append(std::string text);
    HostVariable* First();
    HostVariable* Next();

  private:
    std::vector<std::unique_ptr<HostVariable>> variables_;
    std::size_t position_ = 0;
};

}  // namespace ovrahost
