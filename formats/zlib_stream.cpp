#include "formats/zlib_stream.h"

// The input of a stream is then constant.
#define ZLIB_CONST
#include <zlib.h>

#include <algorithm>
#include <new>

namespace kv7::tessmaker {

namespace {

// As all other memory, so that a failure can be tried.
void* allocate(void*, unsigned int nbr_items, unsigned int size) {
    return ::operator new (std::size_t{nbr_items} * size, std::nothrow);
}
void release(void*, void* memory) { ::operator delete(memory); }

class inflating_stream : public z_stream {
public:
    inflating_stream() : z_stream() {
        zalloc = allocate;
        zfree = release;
        is_ready_ = is_done(inflateInit(this));
    }
    ~inflating_stream() {
        if (is_ready_) inflateEnd(this);
    }
    inflating_stream(const inflating_stream&) = delete;
    inflating_stream& operator=(const inflating_stream&) = delete;

    bool is_ready() const { return is_ready_; }

    static bool is_done(int code) {
        if (code == Z_MEM_ERROR) throw std::bad_alloc();
        return code == Z_OK;
    }

private:
    bool is_ready_ = false;
};

// Hands over what is left if all before has been used up.
void hand_over(unsigned int& at_hand, std::size_t& left, unsigned int most) {
    if (at_hand != 0) return;
    at_hand = static_cast<unsigned int>(std::min<std::size_t>(left, most));
    left -= at_hand;
}

} // namespace

bool has_zlib() { return true; }

bool expand_zlib_stream(std::string_view stream, char* target, std::size_t size,
                        unsigned int most_at_once) {
    inflating_stream work;
    if (!work.is_ready()) return false;
    std::size_t input_left = stream.size();
    std::size_t output_left = size;
    work.next_in = reinterpret_cast<const Bytef*>(stream.data());
    work.next_out = reinterpret_cast<Bytef*>(target);
    for (;;) {
        hand_over(work.avail_in, input_left, most_at_once);
        hand_over(work.avail_out, output_left, most_at_once);
        // With all of both at hand zlib needs no copy of what it has put out. A step without
        // progress is no Z_OK, so the loop ends.
        const bool is_last = input_left == 0 && output_left == 0;
        const int code = inflate(&work, is_last ? Z_FINISH : Z_NO_FLUSH);
        if (code == Z_STREAM_END) return is_last && work.avail_in == 0 && work.avail_out == 0;
        if (!inflating_stream::is_done(code)) return false;
    }
}

} // namespace kv7::tessmaker
