// How much memory this process can have at most.
#ifndef TESSMAKER_FORMATS_MEMORY_BOUND_H
#define TESSMAKER_FORMATS_MEMORY_BOUND_H

#include <cstdint>

namespace kv7::tessmaker {

// In bytes: the memory of the machine, or the limit of the container if that is less. The largest
// number if the system tells neither. Allocates nothing.
std::uint64_t available_memory();

// The least limit on memory that control groups set for a process, in bytes; the largest number if
// there is none. Limits are looked for in the folder of the process's group and in all folders
// above, in both versions of control groups:
//
//   version 2   `root`, files memory.max: a number, or `max` for none
//   version 1   `root`/memory, files memory.limit_in_bytes: a number, near 2^63 for none
//
//   groups   the file in which the system names the groups of a process (/proc/self/cgroup): lines
//            `0::<folder>`, and `<number>:<controllers between commas>:<folder>`. In a container
//            the folder may be that of the machine, which is missing inside; the container's own
//            limit then stands in the root
//   root     the folder of all groups (/sys/fs/cgroup)
//
// A file that is missing, or holds anything else than a number, sets no limit.
std::uint64_t group_memory(const char* groups, const char* root);

} // namespace kv7::tessmaker

#endif
