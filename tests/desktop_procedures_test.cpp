// The operator's windows, driven through their messages; the headless display stands in
// for the screen and lets the test answer boxes.
#include "base/gateway.h"
#include "base/resource_ids.h"
#include "base/settings.h"
#include "core/main_window.h"
#include "installation.h"
#include "log/activity_log.h"
#include "platform/headless/operator.h"
#include "platform/shell.h"
#include "platform/window_model/window.h"
#include "ui/resource_ids.h"
#include "ui/resources.h"
#include "ui/status_window.h"

#include <filesystem>

using Texts = std::vector<std::string>;

namespace
{

constexpr char SETTINGS[] = "DATA/RAW/QLNXSERVER.DAT";
constexpr char LOG[] = "LOGS/QLNSMTP.TXT";

// What the operator does next, and what has been shown to him.
int answer;
Texts shown;

int answer_box(const char *text, const char *caption, unsigned style)
{
    EXPECT_EQ(style, BOX_YES_NO | BOX_DEFAULT_NO | BOX_QUESTION | BOX_TOPMOST);
    shown.push_back(std::string(caption) + "|" + text);
    return answer;
}

class OperatorsDesk : public Installation
{
  protected:
    OperatorsDesk()
    {
        std::filesystem::current_path(path(""));
        settings_locate();
        shown.clear();
        headless_operator.message_box = answer_box;
        gateway = {};
        class_register({"main", main_window_proc, ICON_TRAY});
        come_up("");
    }
    ~OperatorsDesk() override
    {
        window_destroy(gateway.mainWindow);
        std::filesystem::current_path("/");
    }

    // The windows as they come up with these settings.
    void come_up(const std::string &settings)
    {
        window_destroy(gateway.mainWindow);
        put(LOG, "");
        put(SETTINGS, "[QLNSMTP]\n" + settings);
        settings_flush();
        gateway.mainWindow = window_create("main", "", {}, nullptr);
        gateway.statusWindow =
            dialog_create(status_dialog, gateway.mainWindow, status_dialog_proc);
        gateway.timer = timer_start(gateway.mainWindow, 1000);
    }
    // A choice in the status window's menu, or one of its buttons.
    static long choose(int id)
    {
        return send_message(gateway.statusWindow, MESSAGE_COMMAND, id, 0);
    }
    static long choose_in_tray(int id)
    {
        return send_message(gateway.mainWindow, MESSAGE_COMMAND, id, 0);
    }
};

} // namespace

TEST_F(OperatorsDesk, OptionsSwitchAndNameTheStateTheySwitchTo)
{
    Window *const status = gateway.statusWindow;
    const std::vector<MenuItem> &items = status->menu_bar[1].popup->items;
    const Param menu = reinterpret_cast<Param>(status->menu_bar[1].popup.get());
    choose(MENU_ON_TOP);
    choose(MENU_LOG_ONLY);
    log_stamped("SMTP: unseen");
    EXPECT_TRUE(status->topmost);
    send_message(status, MESSAGE_INIT_MENU_POPUP, menu, 1);
    EXPECT_EQ(items[1].text, "Log + show server throughput");
    EXPECT_EQ(items[2].text, "Show server normally");
    choose(MENU_LOG_ONLY);
    send_message(status, MESSAGE_INIT_MENU_POPUP, menu, 1);
    EXPECT_EQ(items[1].text, "Log server throughput (only)");
    const Window *list = dialog_item(status, CONTROL_LOG_LIST);
    ASSERT_EQ(list_count(list), 2);
    EXPECT_STREQ(list_entry(list, 1) + STAMP_SIZE,
                 "SMTP: Server throughput listing has been resumed");
}

TEST_F(OperatorsDesk, OnlyTheAnswerNoKeepsTheServerRunning)
{
    const std::string by_window =
        "Quillon SMTP server|If you close the SMTP server down, Quillon will not be able "
        "to\r\naccept mail from your network users,\r\n\r\n"
        "Are you sure you want to continue and close the server down ?";
    const std::string by_tray =
        "Brevant Tessaro SMTP server|If you close the SMTP server down, Quillon will not "
        "be able to accept mail\r\nfrom your network users. \r\n\r\n"
        "Are you sure you want to continue and close the server down ?";
    answer = BOX_NO;
    for (const int id : {MENU_CLOSE_DOWN, CONTROL_SHUTDOWN, COMMAND_OK}) {
        choose(id);
    }
    choose_in_tray(TRAY_CLOSE_DOWN);
    EXPECT_EQ(shown, (Texts{by_window, by_window, by_window, by_tray}));
    EXPECT_NE(gateway.timer, 0);
    EXPECT_EQ(content(SETTINGS) + content(LOG), "[QLNSMTP]\n");

    for (const bool in_tray : {false, true}) {
        come_up("HWND=77\n");
        headless_operator.icon_is_there = true;
        window_move(gateway.statusWindow, 71, 17);
        answer = in_tray ? BOX_NOT_SHOWN : BOX_YES;
        EXPECT_EQ(1,
                  in_tray ? choose_in_tray(TRAY_CLOSE_DOWN) : choose(CONTROL_SHUTDOWN));
        EXPECT_EQ(gateway.mainWindow, nullptr);
        EXPECT_FALSE(headless_operator.icon_is_there);
        EXPECT_EQ(content(LOG).substr(STAMP_SIZE),
                  "SMTP: Server is being closed down\r\n");
        EXPECT_EQ(content(SETTINGS), in_tray ? "[QLNSMTP]\nHWND=77\n"
                                             : "[QLNSMTP]\nHWND=\nTOP=17\nLEFT=71\n");
    }
}
