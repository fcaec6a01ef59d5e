// Finds the screen of our root, its visuals and the atoms the panels use; asks who composites.
#include "X11PanelContext.h"

#include "X11OverlayPanel.h"
#include "platform/Logging.h"

#include <cstdlib>
#include <cstring>
#include <string>

namespace tamsinvale {

std::shared_ptr<X11PanelContext> X11PanelContext::create(xcb_connection_t* connection, xcb_window_t root,
                                                         X11PanelHooks hooks)
{
    auto context = std::make_shared<X11PanelContext>();
    context->connection = connection;
    context->root = root;
    context->hooks = std::move(hooks);

    const xcb_setup_t* setup = xcb_get_setup(connection);
    context->imageLsbFirst = setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
    int screenNumber = 0;
    for (auto it = xcb_setup_roots_iterator(setup); it.rem; xcb_screen_next(&it), ++screenNumber) {
        if (it.data->root != root)
            continue;
        context->rootDepth = it.data->root_depth;
        context->rootVisual = it.data->root_visual;
        for (auto depth = xcb_screen_allowed_depths_iterator(it.data); depth.rem; xcb_depth_next(&depth)) {
            if (depth.data->depth != 32)
                continue;
            for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem; xcb_visualtype_next(&visual))
                if (visual.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR && visual.data->red_mask == 0xff0000
                    && visual.data->green_mask == 0x00ff00 && visual.data->blue_mask == 0x0000ff) {
                    context->argbVisual = visual.data->visual_id;
                    break;
                }
        }
        break;
    }

    const std::string compositor = "_NET_WM_CM_S" + std::to_string(screenNumber);
    const char* names[] = {compositor.c_str(),     "_NET_WM_WINDOW_OPACITY", "_NET_CLIENT_LIST_STACKING",
                           "_NET_WM_STATE",        "_NET_WM_STATE_ABOVE",    "_NET_WM_STATE_BELOW",
                           "_NET_WM_WINDOW_TYPE",  "_NET_WM_WINDOW_TYPE_NORMAL", "_NET_WM_WINDOW_TYPE_DIALOG",
                           "_NET_WM_PID",          "_NET_ACTIVE_WINDOW"};
    xcb_atom_t* targets[] = {&context->compositorSelection, &context->windowOpacity, &context->clientListStacking,
                             &context->wmState,             &context->wmStateAbove,  &context->wmStateBelow,
                             &context->wmWindowType,        &context->wmWindowTypeNormal,
                             &context->wmWindowTypeDialog,  &context->wmPid,          &context->activeWindow};
    xcb_intern_atom_cookie_t cookies[std::size(names)];
    for (std::size_t i = 0; i < std::size(names); ++i)
        cookies[i] = xcb_intern_atom(connection, 0, std::uint16_t(std::strlen(names[i])), names[i]);
    for (std::size_t i = 0; i < std::size(names); ++i)
        if (auto* reply = xcb_intern_atom_reply(connection, cookies[i], nullptr)) {
            *targets[i] = reply->atom;
            std::free(reply);
        }
    return context;
}

bool X11PanelContext::compositorRunning() const
{
    if (compositorSelection == XCB_ATOM_NONE)
        return false;
    auto* reply = xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, compositorSelection),
                                                nullptr);
    const bool running = reply && reply->owner != XCB_WINDOW_NONE;
    std::free(reply);
    return running;
}

QRect X11PanelContext::primaryMonitor() const
{
    if (hooks.primaryMonitor) {
        const QRect r = hooks.primaryMonitor();
        if (r.isValid())
            return r;
    }
    auto* geometry = xcb_get_geometry_reply(connection, xcb_get_geometry(connection, root), nullptr);
    const QRect r = geometry ? QRect(0, 0, geometry->width, geometry->height) : QRect();
    std::free(geometry);
    return r;
}

}  // namespace tamsinvale

namespace tamsinvale {

void X11PanelContext::placementChanged()
{
    qCInfo(lcDimming, "overlay placement: %s", qUtf8Printable(placement.reason()));
    // Every panel placed against a window is placed again the new way.
    for (X11OverlayPanel* panel : std::vector<X11OverlayPanel*>(panels))
        panel->placeAgain();
}

void X11PanelContext::windowChanged(xcb_window_t window)
{
    for (X11OverlayPanel* panel : std::vector<X11OverlayPanel*>(panels))
        panel->windowChanged(window);
}

}  // namespace tamsinvale
