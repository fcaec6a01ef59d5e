// tamsinvale-testclient: opens X windows of given title, class, geometry, type and state for the X11 tests.
//
// usage: tamsinvale-testclient [--window WINDOW]...
//   WINDOW is "key=value;…" with title, instance, class, size=WxH, pos=X,Y, type=normal|dialog|utility|dock,
//   state=above,fullscreen,hidden,maximized, transient=INDEX, strut-top=HEIGHT,START_X,END_X, pid=0,
//   delete=ignore (the window stays open when asked to close, as one asking about unsaved work would),
//   delete=unsupported (no WM_DELETE_WINDOW in WM_PROTOCOLS: the window cannot be asked to close),
//   desktop=N (the virtual desktop it starts on).
// It prints "window INDEX 0xID" for each window once the window manager lists it (or once mapped, without one;
// a dock also once the manager has mapped it, as i3 lists no docks),
// then "ready"; "delete-window INDEX closing|ignored" whenever a window receives WM_DELETE_WINDOW.
// Commands on stdin: "open WINDOW", "close INDEX", "churn COUNT", "quit".
#include <xcb/xcb.h>
#include <xcb/xcb_icccm.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <map>
#include <poll.h>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

xcb_connection_t* c = nullptr;
xcb_screen_t* screen = nullptr;
std::map<std::string, xcb_atom_t> atoms;
std::vector<xcb_window_t> windows;            // by index; XCB_WINDOW_NONE once closed
std::map<xcb_window_t, int> pending;          // created, not yet managed
bool managerPresent = false;
std::set<xcb_window_t> ignoresDelete;         // windows that stay open when asked to close
std::set<xcb_window_t> docks;                 // panels: some managers (i3) keep them out of the client list

xcb_atom_t atom(const std::string& name)
{
    auto it = atoms.find(name);
    if (it != atoms.end())
        return it->second;
    auto* r = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, static_cast<uint16_t>(name.size()), name.c_str()), nullptr);
    const xcb_atom_t a = r ? r->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(r);
    atoms[name] = a;
    return a;
}

std::vector<std::string> split(const std::string& s, char sep)
{
    std::vector<std::string> out;
    std::string cur;
    for (char ch : s) {
        if (ch == sep) {
            out.push_back(cur);
            cur.clear();
        } else {
            cur += ch;
        }
    }
    out.push_back(cur);
    return out;
}

void setCardinals(xcb_window_t w, const char* property, xcb_atom_t type, const std::vector<uint32_t>& values)
{
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, atom(property), type, 32, static_cast<uint32_t>(values.size()),
                        values.data());
}

void setText(xcb_window_t w, xcb_atom_t property, xcb_atom_t type, const std::string& text)
{
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, property, type, 8, static_cast<uint32_t>(text.size()), text.data());
}

xcb_window_t createWindow(const std::string& windowSpec)
{
    std::map<std::string, std::string> kv;
    for (const std::string& part : split(windowSpec, ';')) {
        const auto eq = part.find('=');
        if (eq != std::string::npos)
            kv[part.substr(0, eq)] = part.substr(eq + 1);
    }
    const std::string title = kv.count("title") ? kv["title"] : "window";
    const std::string instance = kv.count("instance") ? kv["instance"] : "tamsinvale-testclient";
    const std::string klass = kv.count("class") ? kv["class"] : "TestClient";
    int x = 100, y = 100, w = 400, h = 300;
    if (kv.count("size"))
        std::sscanf(kv["size"].c_str(), "%dx%d", &w, &h);
    if (kv.count("pos"))
        std::sscanf(kv["pos"].c_str(), "%d,%d", &x, &y);
    const std::string type = kv.count("type") ? kv["type"] : "normal";
    std::set<std::string> states;
    if (kv.count("state"))
        for (const std::string& s : split(kv["state"], ','))
            states.insert(s);

    const xcb_window_t win = xcb_generate_id(c);
    const uint32_t values[] = {screen->white_pixel, XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, win, screen->root, static_cast<int16_t>(x), static_cast<int16_t>(y),
                      static_cast<uint16_t>(w), static_cast<uint16_t>(h), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    setText(win, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, title);
    setText(win, atom("_NET_WM_NAME"), atom("UTF8_STRING"), title);
    std::string wmClass = instance + '\0' + klass + '\0';
    setText(win, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, wmClass);
    if (!(kv.count("pid") && kv["pid"] == "0")) {
        setCardinals(win, "_NET_WM_PID", XCB_ATOM_CARDINAL, {static_cast<uint32_t>(getpid())});
        char host[256] = {};
        gethostname(host, sizeof host - 1);
        setText(win, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING, host);
    }
    xcb_size_hints_t hints{};
    xcb_icccm_size_hints_set_position(&hints, 1, x, y);
    xcb_icccm_size_hints_set_size(&hints, 1, w, h);
    xcb_icccm_set_wm_normal_hints(c, win, &hints);
    xcb_icccm_wm_hints_t wmHints{};
    xcb_icccm_wm_hints_set_input(&wmHints, 1);
    if (states.count("hidden"))
        xcb_icccm_wm_hints_set_iconic(&wmHints);
    else
        xcb_icccm_wm_hints_set_normal(&wmHints);
    xcb_icccm_set_wm_hints(c, win, &wmHints);
    xcb_atom_t deleteWindow = atom("WM_DELETE_WINDOW");
    if (!(kv.count("delete") && kv["delete"] == "unsupported"))
        xcb_icccm_set_wm_protocols(c, win, atom("WM_PROTOCOLS"), 1, &deleteWindow);

    std::string typeAtom = "_NET_WM_WINDOW_TYPE_NORMAL";
    if (type == "dialog") typeAtom = "_NET_WM_WINDOW_TYPE_DIALOG";
    else if (type == "utility") typeAtom = "_NET_WM_WINDOW_TYPE_UTILITY";
    else if (type == "dock") {
        typeAtom = "_NET_WM_WINDOW_TYPE_DOCK";
        docks.insert(win);
    }
    setCardinals(win, "_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM, {atom(typeAtom)});

    std::vector<uint32_t> netStates;
    if (states.count("above")) netStates.push_back(atom("_NET_WM_STATE_ABOVE"));
    if (states.count("fullscreen")) netStates.push_back(atom("_NET_WM_STATE_FULLSCREEN"));
    if (states.count("maximized")) {
        netStates.push_back(atom("_NET_WM_STATE_MAXIMIZED_VERT"));
        netStates.push_back(atom("_NET_WM_STATE_MAXIMIZED_HORZ"));
    }
    if (!netStates.empty())
        setCardinals(win, "_NET_WM_STATE", XCB_ATOM_ATOM, netStates);
    if (kv.count("transient")) {
        const size_t index = static_cast<size_t>(std::atoi(kv["transient"].c_str()));
        if (index < windows.size())
            xcb_icccm_set_wm_transient_for(c, win, windows[index]);
    }
    if (kv.count("desktop"))
        setCardinals(win, "_NET_WM_DESKTOP", XCB_ATOM_CARDINAL, {static_cast<uint32_t>(std::atoi(kv["desktop"].c_str()))});
    if (kv.count("strut-top")) {
        int height = 0, start = 0, end = 0;
        std::sscanf(kv["strut-top"].c_str(), "%d,%d,%d", &height, &start, &end);
        setCardinals(win, "_NET_WM_STRUT_PARTIAL", XCB_ATOM_CARDINAL,
                     {0, 0, static_cast<uint32_t>(height), 0, 0, 0, 0, 0, static_cast<uint32_t>(start),
                      static_cast<uint32_t>(end), 0, 0});
        setCardinals(win, "_NET_WM_STRUT", XCB_ATOM_CARDINAL, {0, 0, static_cast<uint32_t>(height), 0});
    }
    if (kv.count("delete") && kv["delete"] == "ignore")
        ignoresDelete.insert(win);
    xcb_map_window(c, win);
    xcb_flush(c);
    return win;
}

bool viewable(xcb_window_t w)
{
    auto* a = xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, w), nullptr);
    const bool v = a && a->map_state == XCB_MAP_STATE_VIEWABLE;
    std::free(a);
    return v;
}

bool inClientList(xcb_window_t w)
{
    auto* r = xcb_get_property_reply(
        c, xcb_get_property(c, 0, screen->root, atom("_NET_CLIENT_LIST"), XCB_ATOM_WINDOW, 0, 16384), nullptr);
    bool found = false;
    if (r && r->format == 32) {
        const auto* v = static_cast<const xcb_window_t*>(xcb_get_property_value(r));
        for (int i = 0; i < xcb_get_property_value_length(r) / 4; ++i)
            found = found || v[i] == w;
    }
    std::free(r);
    return found;
}

void announce(xcb_window_t w)
{
    auto it = pending.find(w);
    if (it == pending.end())
        return;
    std::printf("window %d 0x%x\n", it->second, w);
    pending.erase(it);
    if (pending.empty())
        std::printf("ready\n");
    std::fflush(stdout);
}

void checkPending()
{
    std::vector<xcb_window_t> managed;
    for (const auto& [w, index] : pending)
        if (inClientList(w) || (docks.count(w) && viewable(w)))
            managed.push_back(w);
    // Announced in creation order so that the tests read the ids in the order they asked for them.
    std::vector<std::pair<int, xcb_window_t>> ordered;
    for (xcb_window_t w : managed)
        ordered.emplace_back(pending[w], w);
    std::sort(ordered.begin(), ordered.end());
    for (const auto& [index, w] : ordered) {
        bool earlierPending = false;
        for (const auto& [pw, pi] : pending)
            earlierPending = earlierPending || pi < index;
        if (!earlierPending)
            announce(w);
    }
}

void open(const std::string& windowSpec)
{
    const xcb_window_t w = createWindow(windowSpec);
    pending[w] = static_cast<int>(windows.size());
    windows.push_back(w);
    if (managerPresent)
        checkPending();
}

void closeWindow(xcb_window_t w)
{
    for (auto& known : windows)
        if (known == w)
            known = XCB_WINDOW_NONE;
    xcb_destroy_window(c, w);
    free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));  // a round trip: destroyed by now
}

bool anyOpen()
{
    for (xcb_window_t w : windows)
        if (w != XCB_WINDOW_NONE)
            return true;
    return false;
}

void command(const std::string& line)
{
    if (line.rfind("open ", 0) == 0) {
        open(line.substr(5));
    } else if (line.rfind("close ", 0) == 0) {
        const size_t index = static_cast<size_t>(std::atoi(line.c_str() + 6));
        if (index < windows.size() && windows[index] != XCB_WINDOW_NONE)
            closeWindow(windows[index]);
        std::printf("closed %zu\n", index);
        std::fflush(stdout);
    } else if (line.rfind("churn ", 0) == 0) {
        const int count = std::atoi(line.c_str() + 6);
        for (int i = 0; i < count; ++i) {
            const xcb_window_t w = xcb_generate_id(c);
            const uint32_t values[] = {screen->white_pixel};
            xcb_create_window(c, XCB_COPY_FROM_PARENT, w, screen->root, 10, 10, 200, 200, 0,
                              XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_BACK_PIXEL, values);
            setText(w, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, "churn");
            xcb_map_window(c, w);
            xcb_flush(c);
            // Every other one is destroyed once the manager has listed it, the rest at once, so that readers see
            // windows vanish both before and after the manager took them.
            for (int spin = 0; i % 2 == 1 && spin < 100 && managerPresent && !inClientList(w); ++spin) {
                pollfd p{xcb_get_file_descriptor(c), POLLIN, 0};
                poll(&p, 1, 20);
                while (xcb_generic_event_t* e = xcb_poll_for_event(c))
                    free(e);
                if (spin % 10 == 9) {
                    xcb_map_window(c, w);
                    xcb_flush(c);
                }
            }
            xcb_destroy_window(c, w);
            xcb_flush(c);
        }
        free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
        std::printf("churned\n");
        std::fflush(stdout);
    } else if (line == "quit") {
        xcb_disconnect(c);
        std::exit(0);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) {
        std::fprintf(stderr, "tamsinvale-testclient: cannot open the display\n");
        return 1;
    }
    screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const uint32_t rootMask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(c, screen->root, XCB_CW_EVENT_MASK, &rootMask);
    auto* owner = xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, atom("WM_S0")), nullptr);
    managerPresent = owner && owner->owner != XCB_WINDOW_NONE;
    std::free(owner);
    std::printf("pid %d\n", getpid());
    std::fflush(stdout);

    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], "--window") == 0)
            open(argv[++i]);
    if (windows.empty()) {
        std::printf("ready\n");
        std::fflush(stdout);
    }

    std::string input;
    bool stdinOpen = true;
    for (;;) {
        pollfd fds[2] = {{xcb_get_file_descriptor(c), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
        const int polled = poll(fds, stdinOpen ? 2 : 1, pending.empty() ? -1 : 500);
        if (polled < 0 && errno != EINTR)
            return 1;
        if (polled == 0 && managerPresent) {
            // Openbox can drop a map request that arrives while it is busy starting or restacking; ask again.
            for (const auto& [w, index] : pending) {
                std::fprintf(stderr, "tamsinvale-testclient: window %d not managed yet, mapping it again\n", index);
                xcb_map_window(c, w);
            }
            xcb_flush(c);
            checkPending();
        }
        while (xcb_generic_event_t* event = xcb_poll_for_event(c)) {
            const uint8_t type = event->response_type & 0x7f;
            if (type == XCB_PROPERTY_NOTIFY) {
                const auto* e = reinterpret_cast<xcb_property_notify_event_t*>(event);
                if (e->window == screen->root && e->atom == atom("_NET_CLIENT_LIST"))
                    checkPending();
            } else if (type == XCB_MAP_NOTIFY && !managerPresent) {
                announce(reinterpret_cast<xcb_map_notify_event_t*>(event)->window);
            } else if (type == XCB_MAP_NOTIFY && docks.count(reinterpret_cast<xcb_map_notify_event_t*>(event)->window)) {
                checkPending();
            } else if (type == XCB_CLIENT_MESSAGE) {
                const auto* e = reinterpret_cast<xcb_client_message_event_t*>(event);
                if (e->type == atom("WM_PROTOCOLS") && e->data.data32[0] == atom("WM_DELETE_WINDOW")) {
                    const auto known = std::find(windows.begin(), windows.end(), e->window);
                    const bool ignore = ignoresDelete.count(e->window) > 0;
                    std::printf("delete-window %d %s\n",
                                known == windows.end() ? -1 : static_cast<int>(known - windows.begin()),
                                ignore ? "ignored" : "closing");
                    std::fflush(stdout);
                    if (!ignore) {
                        closeWindow(e->window);
                        if (!anyOpen()) {
                            std::free(event);
                            return 0;
                        }
                    }
                }
            }
            std::free(event);
        }
        if (xcb_connection_has_error(c))
            return 1;
        if (stdinOpen && (fds[1].revents & (POLLIN | POLLHUP))) {
            char buffer[4096];
            const ssize_t n = read(STDIN_FILENO, buffer, sizeof buffer);
            if (n <= 0) {
                stdinOpen = false;  // the test went away; stay until our windows are closed or we are ended
                continue;
            }
            input.append(buffer, static_cast<size_t>(n));
            size_t newline;
            while ((newline = input.find('\n')) != std::string::npos) {
                const std::string line = input.substr(0, newline);
                input.erase(0, newline + 1);
                command(line);
            }
        }
    }
}
