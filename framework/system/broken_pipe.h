// What happens when the other end of a connection has gone.
#pragma once

namespace zendro::framework {

/// Makes writing to a connection that the peer has closed a failed write instead of the end of the
/// process, for the whole process. TLS libraries write without a flag that says so.
void ignore_broken_pipes();

}  // namespace zendro::framework
