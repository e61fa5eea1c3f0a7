#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace vantile {

// Stable sort by a time key that is linear on nearly ordered lists (recorded events, candidate
// segments): insertion sort while the number of moves stays small, a full stable sort otherwise.
// Either way the result is exactly std::stable_sort's: equal keys keep their order.
template <typename Element, typename Key>
void stableSortNearlyOrdered(std::vector<Element>& elements, Key key)
{
    const auto earlier = [&key](const Element& a, const Element& b) { return key(a) < key(b); };
    const std::size_t moveBudget = 8 * elements.size() + 64;
    std::size_t moves = 0;
    for (std::size_t index = 1; index < elements.size(); ++index) {
        if (!earlier(elements[index], elements[index - 1])) continue;
        Element moving = std::move(elements[index]);
        std::size_t position = index;
        while (position > 0 && earlier(moving, elements[position - 1])) {
            elements[position] = std::move(elements[position - 1]);
            --position;
            ++moves;
        }
        elements[position] = std::move(moving);
        // Far from ordered: insertion would turn quadratic. The partial result kept equal keys in
        // their original order, so the stable sort still gives the same answer.
        if (moves > moveBudget) {
            std::stable_sort(elements.begin(), elements.end(), earlier);
            return;
        }
    }
}

template <typename Sample>
void stableSortByTime(std::vector<Sample>& samples)
{
    stableSortNearlyOrdered(samples, [](const Sample& sample) { return sample.time; });
}

template <typename Segment>
void stableSortByStart(std::vector<Segment>& segments)
{
    stableSortNearlyOrdered(segments, [](const Segment& segment) { return segment.start; });
}

}  // namespace vantile
