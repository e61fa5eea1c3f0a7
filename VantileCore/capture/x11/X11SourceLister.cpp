#include "capture/x11/X11SourceLister.h"

#include "capture/x11/X11Connection.h"
#include "model/JsonCoding.h"

#include <xcb/randr.h>

#include <cstring>

namespace vantile {

namespace {

std::optional<std::string> atomName(const X11Connection& connection, xcb_atom_t atom)
{
    const XcbReply<xcb_get_atom_name_reply_t> reply(
        xcb_get_atom_name_reply(connection.get(), xcb_get_atom_name(connection.get(), atom), nullptr));
    if (!reply) return std::nullopt;
    return std::string(xcb_get_atom_name_name(reply.get()),
                       static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get())));
}

std::optional<std::string> textProperty(const X11Connection& connection, xcb_window_t window, xcb_atom_t property,
                                        xcb_atom_t type)
{
    if (property == XCB_ATOM_NONE) return std::nullopt;
    const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection.get(), xcb_get_property(connection.get(), 0, window, property, type, 0, 4096), nullptr));
    if (!reply || reply->type == XCB_ATOM_NONE || reply->format != 8) return std::nullopt;
    return std::string(static_cast<const char*>(xcb_get_property_value(reply.get())),
                       static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
}

std::vector<xcb_window_t> clientList(const X11Connection& connection)
{
    const xcb_atom_t clientListAtom = connection.atom("_NET_CLIENT_LIST");
    if (clientListAtom != XCB_ATOM_NONE) {
        const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            connection.get(),
            xcb_get_property(connection.get(), 0, connection.root(), clientListAtom, XCB_ATOM_WINDOW, 0, 65536),
            nullptr));
        if (reply && reply->type == XCB_ATOM_WINDOW && reply->format == 32) {
            const auto* windows = static_cast<const xcb_window_t*>(xcb_get_property_value(reply.get()));
            return {windows, windows + xcb_get_property_value_length(reply.get()) / 4};
        }
    }
    // No window manager: the top-level windows are the clients.
    const XcbReply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(connection.get(), xcb_query_tree(connection.get(), connection.root()), nullptr));
    if (!tree) return {};
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    return {children, children + xcb_query_tree_children_length(tree.get())};
}

std::optional<ListedWindow> describeWindow(const X11Connection& connection, xcb_window_t window,
                                           xcb_atom_t netWmName, xcb_atom_t utf8String)
{
    const XcbReply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
        connection.get(), xcb_get_window_attributes(connection.get(), window), nullptr));
    if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
        attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT)
        return std::nullopt;
    const XcbReply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(connection.get(), xcb_get_geometry(connection.get(), window), nullptr));
    const XcbReply<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(
        connection.get(), xcb_translate_coordinates(connection.get(), window, connection.root(), 0, 0), nullptr));
    if (!geometry || !origin) return std::nullopt;

    const std::optional<std::string> windowClass = textProperty(connection, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING);
    // Windows without WM_CLASS are helpers of toolkits, not application windows.
    if (!windowClass) return std::nullopt;
    ListedWindow listed{.number = window,
                        .frame = {static_cast<double>(origin->dst_x), static_cast<double>(origin->dst_y),
                                  static_cast<double>(geometry->width), static_cast<double>(geometry->height)}};
    listed.title = textProperty(connection, window, netWmName, utf8String);
    if (!listed.title) listed.title = textProperty(connection, window, XCB_ATOM_WM_NAME, XCB_ATOM_ANY);
    // WM_NAME may be Latin-1 or compound text; a title that is no valid UTF-8 could not be
    // saved in the project, and the whole recording with it.
    if (listed.title) listed.title = validUtf8(*listed.title);
    // WM_CLASS holds "instance\0class\0"; the class part names the application.
    const std::size_t split = windowClass->find('\0');
    if (split != std::string::npos) {
        std::string className = windowClass->substr(split + 1);
        if (const auto end = className.find('\0'); end != std::string::npos) className.resize(end);
        listed.appName = validUtf8(className);
    }
    return listed;
}

std::vector<ListedDisplay> listScreens(const X11Connection& connection)
{
    std::vector<ListedDisplay> displays;
    const XcbReply<xcb_randr_get_monitors_reply_t> monitors(xcb_randr_get_monitors_reply(
        connection.get(), xcb_randr_get_monitors(connection.get(), connection.root(), 1), nullptr));
    if (!monitors) {
        // RandR missing: the whole root window is the one display.
        const xcb_screen_t* screen = connection.screen();
        displays.push_back({.number = connection.root(),
                            .name = "Screen",
                            .frame = {0, 0, static_cast<double>(screen->width_in_pixels),
                                      static_cast<double>(screen->height_in_pixels)}});
        return displays;
    }
    for (auto it = xcb_randr_get_monitors_monitors_iterator(monitors.get()); it.rem;
         xcb_randr_monitor_info_next(&it)) {
        const xcb_randr_monitor_info_t* monitor = it.data;
        const int outputCount = xcb_randr_monitor_info_outputs_length(monitor);
        // A monitor without outputs (a virtual one) is numbered by its name atom instead.
        const std::uint64_t number =
            outputCount > 0 ? xcb_randr_monitor_info_outputs(monitor)[0] : static_cast<std::uint64_t>(monitor->name);
        displays.push_back({.number = number,
                            .name = atomName(connection, monitor->name).value_or(""),
                            .frame = {static_cast<double>(monitor->x), static_cast<double>(monitor->y),
                                      static_cast<double>(monitor->width), static_cast<double>(monitor->height)}});
    }
    return displays;
}

}  // namespace

std::vector<ListedDisplay> X11SourceLister::screens()
{
    return listScreens(X11Connection(displayName_));
}

ShareableContent X11SourceLister::shareableContent()
{
    // One connection for everything: a server that loses its last client between two
    // connections resets and may refuse the second.
    const X11Connection connection(displayName_);
    ShareableContent content;
    content.displays = listScreens(connection);
    const xcb_atom_t netWmName = connection.atom("_NET_WM_NAME");
    const xcb_atom_t utf8String = connection.atom("UTF8_STRING");
    for (const xcb_window_t window : clientList(connection)) {
        if (auto listed = describeWindow(connection, window, netWmName, utf8String))
            content.windows.push_back(std::move(*listed));
    }
    return content;
}

}  // namespace vantile
