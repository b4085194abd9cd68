// Outputs of a call that are views on the block of another of its arguments.
//
// Views share blocks: after `out = in; out.clear();` the block of an output is that of an input,
// and a call that filled the output would write over what it still reads, or move the block away
// from under it. So an output that a call clears gives up a block that is not its own first.
#ifndef TESSMAKER_CORE_OUTPUTS_H
#define TESSMAKER_CORE_OUTPUTS_H

#include <functional>
#include <tuple>
#include <type_traits>

#include "core/ids.h"
#include "tessmaker/containers.h"

namespace kv7::tessmaker {

// The arrays that a call clears and fills.
template <class... Views> struct outputs {
    explicit outputs(Views&... arrays) noexcept : views(arrays...) {}
    std::tuple<Views&...> views;
};

// The arrays that a call reads, those that it also changes in place among them.
template <class... Views> struct inputs {
    explicit inputs(const Views&... arrays) noexcept : views(arrays...) {}
    std::tuple<const Views&...> views;
};

// A range of connectivities among the inputs. One with its end before its begin is empty here.
struct connectivities {
    const id_matrix* begin;
    const id_matrix* end;
};

// Whether two arrays are views on one block. An array that is passed twice is one view, not two.
template <class A, class B> bool share_block(const A& a, const B& b) noexcept {
    if constexpr (std::is_same_v<typename A::block_type, typename B::block_type>) {
        const bool is_same = static_cast<const void*>(&a) == static_cast<const void*>(&b);
        return a.block() == b.block() && a.block() != nullptr && !is_same;
    } else {
        return false;
    }
}
template <class A> bool share_block(const A& a, const connectivities& range) noexcept {
    for (const id_matrix* b = range.begin; std::less<>{}(b, range.end); ++b) {
        if (share_block(a, *b)) return true;
    }
    return false;
}
template <class A, class... Views>
bool share_block(const A& a, const std::tuple<Views&...>& others) noexcept {
    return std::apply([&a](const auto&... b) { return (share_block(a, b) || ...); }, others);
}

// Clears all outputs. An output on the block of an input, or of an output behind it, leaves that
// block as it is and gets a new one.
template <class... Outputs, class... Inputs>
void clear_outputs(const outputs<Outputs...>& cleared, const inputs<Inputs...>& read) noexcept {
    const auto clear = [&](auto& output) {
        if (share_block(output, cleared.views) || share_block(output, read.views)) {
            output.clear_hard();
        } else {
            output.clear();
        }
    };
    std::apply([&clear](auto&... output) { (clear(output), ...); }, cleared.views);
}

// For an output that is appended to: if it stands on the block of an input, moves it, with what it
// holds, to a block of its own. False when memory fails.
template <class Output, class... Inputs>
bool keep_apart(Output& output, const inputs<Inputs...>& read) noexcept {
    return !share_block(output, read.views) || output.copy(output);
}

} // namespace kv7::tessmaker

#endif
