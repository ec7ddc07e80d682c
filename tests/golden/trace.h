// What a golden run leaves behind: one row of text per frame with a hash of everything the library
// told its host in that frame, and one character for each field of each kind of message, so that a
// run that differs can say where it differs first.
//
//   <frame> <hash of the row's content> <kind>:<number of records><a character per field> ...
#ifndef TESTS_GOLDEN_TRACE_H
#define TESTS_GOLDEN_TRACE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace golden {

// A field of a record: `size` bytes at `offset`, `count` times at a distance of `stride`.
struct Field {
    std::string name;
    size_t offset = 0;
    size_t size = 0;
    size_t stride = 0;
    size_t count = 1;
};

// A kind of record: a message of the library, an object given to the tracker, or the calls.
struct Kind {
    std::string name;
    size_t bytes = 0;
    std::vector<Field> fields;
};

// Null when there is no such kind.
const Kind* kind_of(const std::string& name);
const std::vector<Kind>& kinds();

// Everything of one frame.
class FrameTrace {
  public:
    // A record of that kind; one of another size than the kind's counts as a field "size".
    void add_record(const std::string& kind, const void* bytes, size_t length);
    // A call of the library into its host, with its arguments.
    void add_call(const std::string& text);
    std::string row(int frame) const;

  private:
    struct Sum {
        size_t records = 0;
        std::vector<uint64_t> fields;
    };
    std::map<std::string, Sum> sums_;
    uint64_t all_ = 14695981039346656037u;
};

// The first frame, message and field in which the rows of a run differ from the expected ones, as
// one sentence; empty when they are the same.
std::string first_difference(const std::vector<std::string>& expected,
                             const std::vector<std::string>& seen);

// One number for all rows.
uint64_t hash_of(const std::vector<std::string>& rows);

}  // namespace golden

#endif
