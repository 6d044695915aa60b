#pragma once

namespace conformance {

// Shows that the comparison can fail: in every kind of state, on both sides. Prints what it does not notice;
// the result is an exit status.
int self_check();

} // namespace conformance
