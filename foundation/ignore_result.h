#pragma once

namespace ovrasql {

// Takes a result that the rules say to ignore. The reason stands in a comment beside the call.
template <class Result>
inline void IgnoreResult(Result&&) {}

}  // namespace ovrasql
