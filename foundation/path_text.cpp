#include "foundation/path_text.h"

namespace ovrasql {

namespace {

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

}  // namespace

String StripExtension(TextView path) {
    for (int32_t index = path.length - 1; index > 0; --index) {
        if (IsSeparator(path[index])) {
            break;
        }
        if (path[index] == '.') {
            return String(path.Part(0, index));
        }
    }
    return String(path);
}

String DirectoryPart(TextView path) {
    for (int32_t index = path.length - 1; index > 0; --index) {
        if (IsSeparator(path[index])) {
            return String(path.Part(0, index + 1));
        }
    }
    return String(TextView());
}

}  // namespace ovrasql
