#include "core/tray.h"

#include "base/text.h"
#include "ui/resource_ids.h"
#include "ui/tray_menu.h"

bool set_tray_icon(Window *window, TrayOperation operation, const char *tip)
{
    constexpr int ICON_IDENTIFIER = 1024;

    TrayIcon icon{window, ICON_IDENTIFIER, TRAY_CALLBACK, ICON_TRAY, "", tray_menu};
    copy_text(icon.tip, sizeof icon.tip, tip);
    return tray_icon(operation, icon);
}
