// Built where there is no X11: no drag carries a Direct Save property.

#include "explorer/x11/DirectSave.h"

namespace korvan::x11 {

quint32 dragSourceWindow()
{
    return 0;
}

void setDirectSaveProperty(quint32, const QByteArray &) {}

QByteArray directSaveProperty(quint32)
{
    return {};
}


} // namespace korvan::x11
