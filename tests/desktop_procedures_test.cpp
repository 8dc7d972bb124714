// The operator's windows, driven through their messages; the headless display stands in
// for the screen and lets the test answer boxes.
#include "base/gateway.h"
#include "base/resource_ids.h"
#include "base/text.h"
#include "core/main_window.h"
#include "core/tray.h"
#include "installation.h"
#include "log/activity_log.h"
#include "platform/clock.h"
#include "platform/headless/operator.h"
#include "platform/shell.h"
#include "platform/window_model/placement.h"
#include "platform/window_model/window.h"
#include "ui/resource_ids.h"
#include "ui/resources.h"
#include "ui/status_window.h"

namespace
{

// What the operator does next, and what has been shown to him.
int answer;
bool closes_meanwhile;
Lines shown;

int answer_box(const char *text, const char *caption, unsigned style)
{
    EXPECT_EQ(style, BOX_YES_NO | BOX_DEFAULT_NO | BOX_QUESTION | BOX_TOPMOST);
    shown.push_back(std::string(caption) + "|" + text);
    if (closes_meanwhile) {
        send_message(gateway.mainWindow, MESSAGE_CLOSE, 0, 0);
    }
    return answer;
}

// Tries a dialog's close box, and then its button.
void look_at_dialog(Window &dialog)
{
    EXPECT_FALSE(gateway.statusWindow->topmost) << "it would cover the dialog";
    shown.push_back(dialog_item(&dialog, CONTROL_DESCRIPTION)->text);
    send_message(&dialog, MESSAGE_CLOSE, 0, 0);
    shown.emplace_back(dialog.ended ? "closed" : "still open");
    send_message(&dialog, MESSAGE_COMMAND, COMMAND_OK, 0);
}

// Presses the right button again, and then chooses.
int choose_from(const Menu &menu)
{
    shown.push_back(menu.items.front().text);
    EXPECT_EQ(shown.size(), 1U) << "a menu is open already";
    send_message(gateway.mainWindow, TRAY_CALLBACK, 0, TRAY_RIGHT_PRESSED);
    return TRAY_SHOW;
}

class OperatorsDesk : public Installation
{
  protected:
    OperatorsDesk()
    {
        shown.clear();
        closes_meanwhile = false;
        headless_operator.message_box = answer_box;
        gateway = {};
        class_register({"main", main_window_proc, ICON_TRAY});
        come_up("");
    }
    ~OperatorsDesk() override
    {
        window_destroy(gateway.mainWindow);
    }

    // The windows as they come up with these settings.
    void come_up(const std::string &settings)
    {
        window_destroy(gateway.mainWindow);
        put(LOG, "");
        put(SETTINGS, "[QLNSMTP]\n" + settings);
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

TEST_F(OperatorsDesk, TicksThatComeLateAreNotMadeUpFor)
{
    const int timer = timer_start(gateway.mainWindow, 40);
    sleep_ms(150);
    Message message;
    uint32_t ticks[2];
    for (uint32_t &tick : ticks) {
        EXPECT_TRUE(next_message(&message) && message.first == timer);
        tick = tick_count();
    }
    EXPECT_GE(ticks[1] - ticks[0], 30U);
    timer_stop(timer);
    EXPECT_TRUE(next_message(&message) && message.first == gateway.timer);
}

TEST_F(OperatorsDesk, DialogsTellHowTheServerListensAndCloseByTheirOwnButtons)
{
    headless_operator.dialog = look_at_dialog;
    for (const char *bind : {"1", "2"}) { // any other value than 1 reads as all of them
        come_up("ONTOP=1\nBIND=" + std::string(bind) + "\n");
        choose(MENU_CONFIGURATION);
        EXPECT_TRUE(gateway.statusWindow->topmost);
    }
    copy_text(gateway.status_text, sizeof gateway.status_text, "how it listens");
    choose(MENU_ABOUT);
    ASSERT_EQ(shown.size(), 6U);
    EXPECT_NE(shown[0].find("on the INTERNAL IP address"), std::string::npos);
    EXPECT_NE(shown[2].find("on ALL IP addresses"), std::string::npos);
    EXPECT_EQ((Lines{shown.begin() + 3, shown.end()}),
              (Lines{"closed", "how it listens", "still open"}));
}

TEST_F(OperatorsDesk, TheTrayBringsTheWindowBackAndItsButtonsWork)
{
    headless_operator.popup = choose_from;
    Window *const status = gateway.statusWindow;
    send_message(gateway.mainWindow, TRAY_CALLBACK, 0, TRAY_RIGHT_PRESSED);
    for (int posted = 0; posted < 2; posted++) {
        Message message;
        next_message(&message);
        dispatch_message(message);
    }
    EXPECT_TRUE(status->shown);
    EXPECT_EQ(shown, Lines{"View current configuration..."});

    window_move(status, 71, 17);
    choose(CONTROL_HIDE);
    EXPECT_FALSE(status->shown);
    EXPECT_EQ(content(SETTINGS), "[QLNSMTP]\nTOP=17\nLEFT=71\n");
    gateway.connection_indicator = true;
    send_message(gateway.mainWindow, TRAY_CALLBACK, 0, TRAY_LEFT_PRESSED);
    EXPECT_TRUE(status->shown);
    show_activity_lights();
    EXPECT_TRUE(dialog_item(status, CONTROL_ACTIVE_LIGHT)->shown);
    EXPECT_FALSE(dialog_item(status, CONTROL_WAITING_LIGHT)->shown);
    send_message(gateway.mainWindow, MESSAGE_TIMER, gateway.timer, 0);
    EXPECT_NE(dialog_item(status, CONTROL_CLOCK)->text, "");

    log_stamped("SMTP: to be cleared");
    choose(MENU_CLEAR_LIST);
    EXPECT_EQ(list_count(dialog_item(status, CONTROL_LOG_LIST)), 0);
}

// The headless screen has 1024 x 768 pixels, the window 488 x 333 with its frame.
TEST_F(OperatorsDesk, OnlyAPlaceThatNobodyChoseIsHeldInsideTheScreen)
{
    const struct {
        const char *settings;
        int left, top;
    } places[] = {{"", 438, 435},
                  {"TOP=20\n", 438, 20},
                  {"LEFT=900\n", 536, 435},
                  {"TOP=700\nLEFT=-50\n", -50, 700}};
    for (const auto &[settings, left, top] : places) {
        come_up(settings);
        const Rect place = window_rect(gateway.statusWindow);
        EXPECT_EQ(std::pair(place.left, place.top), std::pair(left, top)) << settings;
    }
}

TEST(Places, AreMovedAsFarAsNeededAndOnlyOutOfTheMousesReach)
{
    const Rect area{0, 24, 1366, 768};
    const Rect areas[] = {area, {1366, 0, 3286, 1080}};
    const struct {
        Rect wanted, inside;
        bool in_reach;
    } places[] = {{{100, 100, 300, 200}, {100, 100, 300, 200}, true},
                  {{589, 700, 1241, 1070}, {589, 398, 1241, 768}, true},
                  {{589, 740, 1241, 1110}, {589, 398, 1241, 768}, false},
                  {{-500, 0, 152, 370}, {0, 24, 652, 394}, false},
                  {{-500, 24, 152, 394}, {0, 24, 652, 394}, true},
                  {{3000, 10, 3652, 380}, {714, 24, 1366, 394}, true},
                  {{3200, 10, 3852, 380}, {714, 24, 1366, 394}, false},
                  {{-9, -9, 1991, 991}, {0, 24, 2000, 1024}, false}};
    for (const auto &[wanted, inside, in_reach] : places) {
        const Rect moved = place_inside(wanted, area);
        EXPECT_EQ(std::tuple(moved.left, moved.top, moved.right, moved.bottom),
                  std::tuple(inside.left, inside.top, inside.right, inside.bottom));
        EXPECT_EQ(caption_is_in_reach(wanted, areas), in_reach) << wanted.left;
    }
}

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
    EXPECT_EQ(shown, (Lines{by_window, by_window, by_window, by_tray}));
    EXPECT_NE(gateway.timer, 0);
    EXPECT_EQ(content(SETTINGS) + content(LOG), "[QLNSMTP]\n");

    for (const int way : {0, 1, 2, 3}) {
        const bool in_tray = way % 2 != 0;
        closes_meanwhile = way > 1; // by a signal, so that the answer comes too late
        come_up("HWND=77\n");
        headless_operator.icon_is_there = true;
        window_move(gateway.statusWindow, 71, 17);
        answer = in_tray ? BOX_NOT_SHOWN : BOX_YES;
        EXPECT_EQ(way < 2 || !in_tray ? 1 : 0,
                  in_tray ? choose_in_tray(TRAY_CLOSE_DOWN) : choose(CONTROL_SHUTDOWN));
        EXPECT_EQ(gateway.mainWindow, nullptr);
        EXPECT_EQ(gateway.statusWindow, nullptr);
        EXPECT_FALSE(headless_operator.icon_is_there);
        EXPECT_EQ(content(LOG).substr(STAMP_SIZE),
                  "SMTP: Server is being closed down\r\n");
        EXPECT_EQ(content(SETTINGS), way == 0 ? "[QLNSMTP]\nHWND=\nTOP=17\nLEFT=71\n"
                                              : "[QLNSMTP]\nHWND=77\n");
    }
}
