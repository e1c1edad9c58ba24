// Built where the display may be X11 (xcb is found at build time); at run time
// every call checks that the application really runs on X11.

#include "explorer/x11/DirectSave.h"

#include <QGuiApplication>

#include <xcb/xcb.h>

#include <cstdlib>

namespace korvan::x11 {

namespace {

xcb_connection_t *connection()
{
    auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t *c, const char *name)
{
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(strlen(name)), name), nullptr);
    const xcb_atom_t result = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    free(reply);
    return result;
}

constexpr const char *kProperty = "XdndDirectSave0";

} // namespace

quint32 dragSourceWindow()
{
    xcb_connection_t *c = connection();
    if (!c)
        return 0;
    xcb_get_selection_owner_reply_t *reply =
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, atom(c, "XdndSelection")), nullptr);
    const quint32 owner = reply ? reply->owner : 0;
    free(reply);
    return owner;
}

void setDirectSaveProperty(quint32 window, const QByteArray &value)
{
    xcb_connection_t *c = connection();
    if (!c || !window)
        return;
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, atom(c, kProperty), atom(c, "text/plain"), 8,
                        uint32_t(value.size()), value.constData());
    xcb_flush(c);
}

QByteArray directSaveProperty(quint32 window)
{
    xcb_connection_t *c = connection();
    if (!c || !window)
        return {};
    // A file:// address fits in 4096 four-byte units with room to spare.
    xcb_get_property_reply_t *reply = xcb_get_property_reply(
        c, xcb_get_property(c, 0, window, atom(c, kProperty), XCB_GET_PROPERTY_TYPE_ANY, 0, 4096), nullptr);
    QByteArray value;
    if (reply && reply->format == 8)
        value = QByteArray(static_cast<const char *>(xcb_get_property_value(reply)),
                           xcb_get_property_value_length(reply));
    free(reply);
    // GTK targets write the address with its terminating NUL.
    return value.left(value.indexOf('\0') < 0 ? value.size() : value.indexOf('\0'));
}


} // namespace korvan::x11
