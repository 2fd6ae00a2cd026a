#include "host/host_variable.h"

#include <algorithm>
#include <utility>

namespace ovrahost {

void HostVariable::SetText(std::string text) {
    text_ = std::move(text);
    if (text_.empty()) {
        elements_.clear();
        members_.clear();
    }
}

namespace {

template <class Key>
HostVariable* FindOrMake(std::map<Key, std::unique_ptr<HostVariable>>* variables, const Key& key,
                         bool create) {
    const auto found = variables->find(key);
    if (found != variables->end()) {
        return found->second.get();
    }
    if (!create) {
        return nullptr;
    }
    return variables->emplace(key, std::make_unique<HostVariable>()).first->second.get();
}

}  // namespace

HostVariable* HostVariable::Element(int32_t index, bool create) {
    return FindOrMake(&elements_, index, create);
}

HostVariable* HostVariable::Member(const std::string& name, bool create) {
    return FindOrMake(&members_, name, create);
}

bool HostVariable::LacksPart() const {
    const auto lacks = [](const auto& entry) { return entry.second->LacksPart(); };
    return lacksPart_ || std::any_of(elements_.begin(), elements_.end(), lacks) ||
           std::any_of(members_.begin(), members_.end(), lacks);
}

void HostVariableList::Append(std::string text) {
    variables_.push_back(std::make_unique<HostVariable>(std::move(text)));
}

HostVariable* HostVariableList::First() {
    position_ = 0;
    return Next();
}

HostVariable* HostVariableList::Next() {
    return position_ < variables_.size() ? variables_[position_++].get() : nullptr;
}

}  // namespace ovrahost
