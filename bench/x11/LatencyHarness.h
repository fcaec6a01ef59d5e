// What the X11 latency harnesses share: percentiles of their samples and the active window as a witness
// connection reads it.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <xcb/xcb.h>

namespace tamsinvale::bench {

// The p-th percentile (0..1) of the samples, interpolated between neighbours; 0 for no samples.
inline double percentile(std::vector<double> samples, double p)
{
    if (samples.empty())
        return 0;
    std::sort(samples.begin(), samples.end());
    const double rank = p * double(samples.size() - 1);
    const std::size_t lo = std::size_t(rank);
    const std::size_t hi = std::min(lo + 1, samples.size() - 1);
    return samples[lo] + (samples[hi] - samples[lo]) * (rank - double(lo));
}

// _NET_ACTIVE_WINDOW of the root, `atom` being that property's atom; none when unset.
inline xcb_window_t activeWindow(xcb_connection_t* c, xcb_window_t root, xcb_atom_t atom)
{
    auto* r = xcb_get_property_reply(c, xcb_get_property(c, 0, root, atom, XCB_ATOM_WINDOW, 0, 1), nullptr);
    xcb_window_t w = XCB_WINDOW_NONE;
    if (r && r->format == 32 && xcb_get_property_value_length(r) >= 4)
        std::memcpy(&w, xcb_get_property_value(r), 4);
    std::free(r);
    return w;
}

}  // namespace tamsinvale::bench
