#include "host/parameter_count.h"

namespace ovrahost {

namespace {

bool IsDigit(char byte) { return byte >= '0' && byte <= '9'; }

}  // namespace

ParameterUse FindParameters(std::string_view statement) {
    ParameterUse use;
    bool quoted = false;
    for (std::size_t i = 0; i < statement.size(); ++i) {
        const char byte = statement[i];
        if (byte == '\'') {
            quoted = !quoted;
        } else if (!quoted && byte == '?') {
            ++use.selfNumbered;
        } else if (!quoted && byte == ':') {
            bool zero = true;
            while (i + 1 < statement.size() && IsDigit(statement[i + 1])) {
                ++i;
                zero = zero && statement[i] == '0';
            }
            use.selfNumbered += zero ? 1 : 0;
            use.hasNumbered = use.hasNumbered || !zero;
        }
    }
    return use;
}

}  // namespace ovrahost
