// The table of message handlers.
#pragma once

namespace vca {

// Hands the table to the host and takes it back.
void register_handlers();
void unregister_handlers();

}  // namespace vca
