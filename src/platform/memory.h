// How full the machine's memory is.
#pragma once

namespace platform {

struct memory_status {
  int physical_load = 0;       // percent of memory in use: 100 - available * 100 / total, of the machine or of the
                               // control group, whichever is fuller
  int address_space_load = 0;  // percent of the process's address-space limit in use; 0 without a limit
};
memory_status query_memory();

// Gives free heap memory back to the system.
void release_free_memory();

}  // namespace platform
