#pragma once

namespace tolvar {

/// Keeps the numbers of standard streams that the caller has closed from going to the next file that is opened: every
/// message would be written into it. What stands there refuses to be written to.
void HoldStandardStreams();

} // namespace tolvar
