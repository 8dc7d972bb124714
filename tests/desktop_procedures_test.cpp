// The operator's windows, driven through their messages; the headless display stands in
// for the screen and lets the test answer boxes, dialogs and menus.
#include "core/gateway.h"
#include "core/main_window.h"
#include "core/settings.h"
#include "installation.h"
#include "log/activity_log.h"
#include "platform/headless/operator.h"
#include "platform/shell.h"
#include "platform/windows/window.h"
#include "ui/resource_ids.h"
#include "ui/resources.h"
#include "ui/status_window.h"

#include <ctime>
#include <filesystem>

using Texts = std::vector<std::string>;

namespace
{

constexpr char SETTINGS[] = "DATA/RAW/QLNXSERVER.DAT";
constexpr char LOG[] = "LOGS/QLNSMTP.TXT";

Window *const &main_window = gateway.mainWindow;
Window *const &status = gateway.statusWindow;

// What the operator does next, and what has been shown to him.
struct {
    int answer;
    std::string dialog_text; // behind the port, where there is one
    Texts boxes, popup_items;
} desk;

int answer_box(const char *text, const char *caption, unsigned style)
{
    EXPECT_EQ(style, BOX_YES_NO | BOX_DEFAULT_NO | BOX_QUESTION | BOX_TOPMOST);
    desk.boxes.push_back(std::string(caption) + "|" + text);
    return desk.answer;
}

bool use_dialog(Window &dialog)
{
    const Window *port = dialog_item(&dialog, CONTROL_PORT);
    desk.dialog_text = port != nullptr ? port->text + "|" : "";
    desk.dialog_text += dialog_item(&dialog, CONTROL_DESCRIPTION)->text;
    send_message(&dialog, MESSAGE_COMMAND, COMMAND_OK, 0);
    return true;
}

int choose_in_popup(const Menu &menu)
{
    for (const MenuItem &item : menu.items) {
        desk.popup_items.push_back(std::to_string(item.id) + " " + item.text);
    }
    return 0;
}

std::string clock_now()
{
    const time_t now = time(nullptr);
    char text[64];
    strftime(text, sizeof text, "%H:%M:%S - %b %-d, %Y", localtime(&now));
    return text;
}

class OperatorsDesk : public Installation
{
  protected:
    OperatorsDesk()
    {
        std::filesystem::current_path(path(""));
        settings_locate();
        desk = {};
        headless_operator = {
            answer_box, use_dialog, choose_in_popup, ROOM_FOR_ANY_POPUP, {}, true, {}};
        gateway = {};
        class_register({"main", main_window_proc, ICON_TRAY});
        come_up("");
    }
    ~OperatorsDesk() override
    {
        window_destroy(main_window);
        std::filesystem::current_path("/");
    }

    // The windows as they come up with these settings.
    void come_up(const std::string &settings)
    {
        window_destroy(main_window);
        put(LOG, "");
        put(SETTINGS, "[QLNSMTP]\n" + settings);
        settings_flush();
        status_window_shown = 0;
        gateway.mainWindow = window_create("main", "", {}, nullptr);
        gateway.statusWindow =
            dialog_create(status_dialog, main_window, status_dialog_proc);
        gateway.timer = timer_start(main_window, 1000);
    }
};

} // namespace

TEST_F(OperatorsDesk, WindowComesUpHiddenWhereItWas)
{
    const Rect fresh = window_rect(status);
    const int width = fresh.right - fresh.left;
    EXPECT_EQ(fresh.left, 341 * 2 - width / 2); // a third of 1024 pixels is 341
    EXPECT_EQ(fresh.top, fresh.left);
    EXPECT_FALSE(window_is_shown(status) || status->topmost);

    come_up("TOP=-20\nLEFT=300\nONTOP=2\n");
    EXPECT_EQ(window_rect(status).top, -20);
    EXPECT_EQ(window_rect(status).right, 300 + width);
    EXPECT_TRUE(status->topmost);
}

TEST_F(OperatorsDesk, LightsAndClockFollowOnlyARestoredWindow)
{
    const Window *clock = dialog_item(status, CONTROL_CLOCK);
    const Window *waiting = dialog_item(status, CONTROL_WAITING_LIGHT);
    const Window *active = dialog_item(status, CONTROL_ACTIVE_LIGHT);
    gateway.connection_indicator = 1;
    send_message(main_window, MESSAGE_COMMAND, TRAY_SHOW, 0);
    show_activity_lights();
    send_message(main_window, MESSAGE_TIMER, 0, 0);
    EXPECT_TRUE(waiting->shown);
    EXPECT_EQ(clock->text, "");

    send_message(main_window, TRAY_CALLBACK, 1024, TRAY_LEFT_PRESSED);
    EXPECT_TRUE(waiting->shown && !active->shown); // until the next accept or disconnect
    show_activity_lights();
    EXPECT_TRUE(active->shown && !waiting->shown);
    const std::string earlier = clock_now();
    send_message(main_window, MESSAGE_TIMER, 0, 0);
    EXPECT_TRUE(clock->text == earlier || clock->text == clock_now()) << clock->text;
}

TEST_F(OperatorsDesk, OptionsSwitchAndNameTheStateTheySwitchTo)
{
    const std::vector<MenuItem> &items = status->menu_bar[1].popup->items;
    const Param menu = reinterpret_cast<Param>(status->menu_bar[1].popup.get());
    send_message(status, MESSAGE_INIT_MENU_POPUP, menu, 1);
    EXPECT_EQ(items[1].text, "Log server throughput (only)");
    EXPECT_EQ(items[2].text, "Keep server on top");

    send_message(status, MESSAGE_COMMAND, MENU_ON_TOP, 0);
    send_message(status, MESSAGE_COMMAND, MENU_ON_TOP | 1 << 16, 0); // a notification
    send_message(status, MESSAGE_COMMAND, MENU_LOG_ONLY, 0);
    log_stamped("SMTP: unseen");
    EXPECT_TRUE(status->topmost);
    send_message(status, MESSAGE_INIT_MENU_POPUP, menu, 1);
    EXPECT_EQ(items[1].text, "Log + show server throughput");
    EXPECT_EQ(items[2].text, "Show server normally");

    send_message(status, MESSAGE_COMMAND, MENU_LOG_ONLY, 0);
    const Window *list = dialog_item(status, CONTROL_LOG_LIST);
    ASSERT_EQ(list_count(list), 2);
    EXPECT_STREQ(list_entry(list, 0) + STAMP_SIZE,
                 "SMTP: Server throughput has been disabled (log only)");
    EXPECT_STREQ(list_entry(list, 1) + STAMP_SIZE,
                 "SMTP: Server throughput listing has been resumed");
}

TEST_F(OperatorsDesk, DialogsTellPortAndAddresses)
{
    strcpy(gateway.status_text, "Listening on [10.0.0.1], port [25]");
    send_message(status, MESSAGE_COMMAND, MENU_ABOUT, 0);
    EXPECT_EQ(desk.dialog_text, gateway.status_text);

    strcpy(gateway.selected_address, "10.0.0.1");
    const std::string begins = "|This SMTP server is configured to allow connections on ";
    const std::string one = begins + "the INTERNAL IP address of [10.0.0.1] only\r\n\r\n";
    const std::string all = begins + "ALL IP addresses\r\n\r\n";
    const std::pair<std::string, std::string> cases[] = {
        {"", "25" + one},
        {"bind=0\nport=2525\n", "2525" + all},
        {"bind=2\nport=0x19\n", "0x19" + all},
        {"bind=\" 1x\"\n", "25" + one}};
    for (const auto &[settings, text] : cases) {
        come_up(settings);
        send_message(status, MESSAGE_COMMAND, MENU_CONFIGURATION, 0);
        EXPECT_EQ(desk.dialog_text.substr(0, text.size()), text);
    }
}

TEST_F(OperatorsDesk, TrayMenuIsBuiltWholeOrNotAtAll)
{
    send_message(main_window, TRAY_CALLBACK, 1024, 517); // right button released
    for (const int room : {-1, 4, 5}) {
        EXPECT_TRUE(desk.popup_items.empty()) << room;
        headless_operator.popup_room = room;
        send_message(main_window, TRAY_CALLBACK, 1024, TRAY_RIGHT_PRESSED);
    }
    const Texts whole = {"6004 View current configuration...",
                         "6003 About the Quillon SMTP server...", "6002 Close Menu",
                         "6001 Show SMTP server", "6000 Close SMTP server down"};
    EXPECT_EQ(desk.popup_items, whole);
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
    desk.answer = BOX_NO;
    const int timer = gateway.timer;
    for (const int id : {MENU_CLOSE_DOWN, CONTROL_SHUTDOWN, COMMAND_OK}) {
        send_message(status, MESSAGE_COMMAND, id, 0);
    }
    for (const int id : {TRAY_CLOSE_DOWN, 2, 1025}) {
        send_message(main_window, MESSAGE_COMMAND, id, 0);
    }
    EXPECT_EQ(desk.boxes,
              (Texts{by_window, by_window, by_window, by_tray, by_tray, by_tray}));
    EXPECT_EQ(gateway.timer, timer);
    EXPECT_EQ(content(SETTINGS) + content(LOG), "[QLNSMTP]\n");

    for (const bool by_tray_menu : {false, true}) {
        come_up("HWND=77\n");
        headless_operator.icon_is_there = true;
        window_move(status, 71, 17);
        desk.answer = by_tray_menu ? BOX_NOT_SHOWN : BOX_YES;
        EXPECT_EQ(1, by_tray_menu
                         ? send_message(main_window, MESSAGE_COMMAND, TRAY_CLOSE_DOWN, 0)
                         : send_message(status, MESSAGE_COMMAND, CONTROL_SHUTDOWN, 0));
        EXPECT_TRUE(main_window == nullptr && status == nullptr && gateway.timer == 0);
        EXPECT_FALSE(headless_operator.icon_is_there);
        EXPECT_EQ(content(LOG).substr(STAMP_SIZE),
                  "SMTP: Server is being closed down\r\n");
        const char *kept = by_tray_menu ? "HWND=77\n" : "HWND=\nTOP=17\nLEFT=71\n";
        EXPECT_EQ(content(SETTINGS), std::string("[QLNSMTP]\n") + kept);
    }
}
