// What the X11 latency harnesses share: percentiles of their samples and the active window as a witness
// connection reads it.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
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

// One figure against its budget: a line for people, and a tab-separated "RESULT" line that scripts/bench gathers
// into its table (figure, budget, median, p95 in milliseconds, PASS or FAIL).
inline void reportFigure(const std::string& figure, const std::string& budget, double median, double p95, bool pass)
{
    std::printf("%s: median %.3f ms, p95 %.3f ms (budget %s) %s\n", figure.c_str(), median, p95, budget.c_str(),
                pass ? "PASS" : "FAIL");
    std::printf("RESULT\t%s\t%s\t%.3f\t%.3f\t%s\n", figure.c_str(), budget.c_str(), median, p95,
                pass ? "PASS" : "FAIL");
    std::fflush(stdout);
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
