// The operator's windows, driven through their messages; the headless display stands in
// for the screen and lets the test answer boxes, dialogs and menus.
#include "core/gateway.h"
#include "core/main_window.h"
#include "core/settings.h"
#include "installation.h"
#include "log/activity_log.h"
#include "platform/clock.h"
#include "platform/headless/operator.h"
#include "platform/shell.h"
#include "platform/windows/window.h"
#include "ui/resource_ids.h"
#include "ui/resources.h"
#include "ui/status_window.h"
#include "ui/tray_menu.h"

#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <unistd.h>

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

namespace
{

// What the operator does next, and what has been shown to him.
struct {
    int answer;
    std::vector<int> dialog_commands;
    std::function<void()> at_dialog;
    int popup_choice;

    Texts boxes, popup_items;
    std::string dialog_text, dialog_port;
    bool on_top_meanwhile;
} desk;

std::string item_text(Window *dialog, int id)
{
    const Window *item = dialog_item(dialog, id);
    return item != nullptr ? item->text : "";
}

int answer_box(const char *text, const char *caption, unsigned style)
{
    EXPECT_EQ(style, BOX_YES_NO | BOX_DEFAULT_NO | BOX_QUESTION | BOX_TOPMOST);
    desk.boxes.push_back(std::string(caption) + "|" + text);
    return desk.answer;
}

bool use_dialog(Window &dialog)
{
    desk.dialog_text = item_text(&dialog, CONTROL_DESCRIPTION);
    desk.dialog_port = item_text(&dialog, CONTROL_PORT);
    desk.on_top_meanwhile = gateway.statusWindow->topmost;
    if (desk.at_dialog) {
        desk.at_dialog();
    }
    for (const int command : desk.dialog_commands) {
        EXPECT_FALSE(dialog.ended);
        send_message(&dialog, MESSAGE_COMMAND, command, 0);
    }
    return true;
}

int choose_in_popup(const Menu &menu)
{
    desk.popup_items.clear();
    for (const MenuItem &item : menu.items) {
        desk.popup_items.push_back(std::to_string(item.id) + " " + item.text);
    }
    return desk.popup_choice;
}

class OperatorsDesk : public testing::Test
{
  protected:
    // One directory for all tests: the server never changes its working directory.
    static void SetUpTestSuite()
    {
        directory = fs::temp_directory_path() / "desk-XXXXXX";
        ASSERT_NE(mkdtemp(directory.data()), nullptr);
        fs::current_path(directory);
        fs::create_directories("data/raw");
        fs::create_directory("LOGS");
        settings_locate();
    }
    static void TearDownTestSuite()
    {
        fs::current_path("/");
        fs::remove_all(directory);
    }

    OperatorsDesk()
    {
        std::ofstream("data/raw/qlnxserver.dat") << "[QLNSMTP]\n";
        settings_flush();
        fs::remove("LOGS/QLNSMTP.TXT");

        desk = {};
        headless_operator = {};
        headless_operator.message_box = answer_box;
        headless_operator.dialog = use_dialog;
        headless_operator.popup = choose_in_popup;
        headless_operator.popup_room = ROOM_FOR_ANY_POPUP;

        gateway = {};
        status_window_shown = 0;
        class_register({"main", main_window_proc, ICON_TRAY});
        gateway.mainWindow = window_create("main", "", {}, nullptr);
        open_status_window();
    }
    ~OperatorsDesk() override
    {
        window_destroy(gateway.mainWindow);
        class_unregister("main");
    }

    static void open_status_window()
    {
        window_destroy(gateway.statusWindow);
        gateway.statusWindow =
            dialog_create(status_dialog, gateway.mainWindow, status_dialog_proc);
    }
    static Window *status()
    {
        return gateway.statusWindow;
    }
    static Param command(Param id)
    {
        return send_message(status(), MESSAGE_COMMAND, id, 0);
    }
    static void restore()
    {
        send_message(status(), MESSAGE_SYSTEM_COMMAND, SYSTEM_RESTORE, 0);
    }
    static std::string setting(const char *key)
    {
        char value[64];
        read_setting_text(key, "missing", value, sizeof value);
        return value;
    }
    static Texts list()
    {
        Texts texts;
        const Window *view = dialog_item(status(), CONTROL_LOG_LIST);
        for (int i = 0; i < list_count(view); i++) {
            texts.push_back(std::string(list_entry(view, i)).substr(STAMP_SIZE));
        }
        return texts;
    }
    // W for the waiting, A for the active light.
    static std::string lights()
    {
        std::string shown;
        shown += window_is_shown(dialog_item(status(), CONTROL_WAITING_LIGHT)) ? "W" : "";
        shown += window_is_shown(dialog_item(status(), CONTROL_ACTIVE_LIGHT)) ? "A" : "";
        return shown;
    }
    static std::string options_text(int id)
    {
        Menu *menu = status()->menu_bar[1].popup.get();
        send_message(status(), MESSAGE_INIT_MENU_POPUP, reinterpret_cast<Param>(menu), 1);
        char text[64];
        menu_text(menu, id, text, sizeof text);
        return text;
    }

    static inline std::string directory;
};

} // namespace

TEST_F(OperatorsDesk, WindowComesUpHiddenWhereItWas)
{
    const Rect fresh = window_rect(status());
    const int width = fresh.right - fresh.left;
    EXPECT_EQ(fresh.left, 341 * 2 - width / 2); // a third of 1024 pixels is 341
    EXPECT_EQ(fresh.top, fresh.left);
    EXPECT_FALSE(window_is_shown(status()));
    EXPECT_FALSE(status()->topmost);
    EXPECT_EQ(status()->icon, ICON_STATUS);

    write_setting("TOP", "-20");
    write_setting("LEFT", "300");
    write_setting("ONTOP", "2");
    open_status_window();
    EXPECT_EQ(window_rect(status()).top, -20);
    EXPECT_EQ(window_rect(status()).left, 300);
    EXPECT_EQ(window_rect(status()).right, 300 + width);
    EXPECT_TRUE(status()->topmost);
}

TEST_F(OperatorsDesk, CancelCloseBoxAndMinimiseHideTheWindow)
{
    struct {
        unsigned message;
        Param first;
    } ways[] = {{MESSAGE_COMMAND, CONTROL_HIDE},
                {MESSAGE_CLOSE, 0},
                {MESSAGE_SYSTEM_COMMAND, SYSTEM_MINIMIZE}};
    int place = 50;
    for (const auto &way : ways) {
        restore();
        EXPECT_TRUE(window_is_shown(status()));
        EXPECT_EQ(status_window_shown, 1);

        place += 11;
        window_move(status(), place, place + 5);
        send_message(status(), way.message, way.first, 0);
        EXPECT_FALSE(window_is_shown(status()));
        EXPECT_EQ(status_window_shown, 0);
        EXPECT_EQ(setting("LEFT"), std::to_string(place));
        EXPECT_EQ(setting("TOP"), std::to_string(place + 5));

        window_move(status(), 0, 0);
        restore();
        EXPECT_EQ(window_rect(status()).left, place);
        EXPECT_EQ(window_rect(status()).top, place + 5);
    }
    EXPECT_TRUE(desk.boxes.empty());
}

TEST_F(OperatorsDesk, LightsAndClockFollowOnlyARestoredWindow)
{
    gateway.connection_indicator = 1;
    send_message(gateway.mainWindow, MESSAGE_COMMAND, TRAY_SHOW, 0);
    EXPECT_TRUE(window_is_shown(status()));
    const std::string untouched = lights();
    show_activity_lights();
    EXPECT_EQ(lights(), untouched);
    send_message(gateway.mainWindow, MESSAGE_TIMER, 0, 0);
    EXPECT_EQ(item_text(status(), CONTROL_CLOCK), "");

    send_message(gateway.mainWindow, TRAY_CALLBACK, 1024, TRAY_LEFT_PRESSED);
    EXPECT_EQ(lights(), "W"); // whatever the indicator holds
    show_activity_lights();
    EXPECT_EQ(lights(), "A");
    restore();
    EXPECT_EQ(lights(), "W"); // until the next connection or disconnect
    show_activity_lights();
    gateway.connection_indicator = 0;
    show_activity_lights();
    EXPECT_EQ(lights(), "W");

    const time_t before = time(nullptr);
    send_message(gateway.mainWindow, MESSAGE_TIMER, 0, 0);
    char earlier[64];
    char later[64];
    strftime(earlier, sizeof earlier, "%H:%M:%S - %b %-d, %Y", localtime(&before));
    const time_t after = time(nullptr);
    strftime(later, sizeof later, "%H:%M:%S - %b %-d, %Y", localtime(&after));
    const std::string clock = item_text(status(), CONTROL_CLOCK);
    EXPECT_TRUE(clock == earlier || clock == later) << clock;
}

TEST_F(OperatorsDesk, OptionsSwitchAndNameTheStateTheySwitchTo)
{
    EXPECT_EQ(options_text(MENU_ON_TOP), "Keep server on top");
    command(MENU_ON_TOP);
    EXPECT_EQ(setting("ONTOP"), "1");
    EXPECT_TRUE(status()->topmost);
    EXPECT_EQ(options_text(MENU_ON_TOP), "Show server normally");
    command(MENU_ON_TOP);
    EXPECT_EQ(setting("ONTOP"), "0");
    EXPECT_FALSE(status()->topmost);

    EXPECT_EQ(options_text(MENU_LOG_ONLY), "Log server throughput (only)");
    command(MENU_LOG_ONLY);
    EXPECT_EQ(setting("LOGONLY"), "1");
    EXPECT_EQ(options_text(MENU_LOG_ONLY), "Log + show server throughput");
    log_stamped("SMTP: unseen");
    const Texts disabled = {"SMTP: Server throughput has been disabled (log only)"};
    EXPECT_EQ(list(), disabled);
    command(MENU_CLEAR_LIST);
    EXPECT_TRUE(list().empty());
    command(MENU_LOG_ONLY);
    const Texts resumed = {"SMTP: Server throughput listing has been resumed"};
    EXPECT_EQ(list(), resumed);
    EXPECT_EQ(setting("LOGONLY"), "0");
    const std::string file = slurp("LOGS/QLNSMTP.TXT");
    EXPECT_NE(file.find("disabled (log only)\r\n"), std::string::npos);
    EXPECT_NE(file.find("resumed\r\n"), std::string::npos);

    // At another place in the menu bar; and a command that carries a notification.
    Menu *options = status()->menu_bar[1].popup.get();
    menu_set_text(options, MENU_ON_TOP, "untouched");
    send_message(status(), MESSAGE_INIT_MENU_POPUP, reinterpret_cast<Param>(options), 2);
    EXPECT_EQ(options->items[2].text, "untouched");
    command(MENU_ON_TOP | 1 << 16);
    EXPECT_EQ(setting("ONTOP"), "0");

    command(MENU_VIEW_LOG);
    const std::string opened = headless_operator.opened;
    EXPECT_NE(opened.find("LOGS\\QLNSMTP.TXT"), std::string::npos) << opened;
}

TEST_F(OperatorsDesk, DialogsAreNotCoveredByATopmostWindow)
{
    write_setting("ONTOP", "1");
    restore();
    strcpy(gateway.status_text, "Listening on [10.0.0.1], port [25]");
    desk.dialog_commands = {COMMAND_CANCEL, COMMAND_OK | 1 << 16, COMMAND_OK};
    command(MENU_ABOUT);
    EXPECT_EQ(desk.dialog_text, "Listening on [10.0.0.1], port [25]");
    EXPECT_FALSE(desk.on_top_meanwhile);
    EXPECT_TRUE(status()->topmost);

    desk.dialog_commands = {COMMAND_CANCEL};
    desk.at_dialog = [] { write_setting("ONTOP", "0"); };
    command(MENU_CONFIGURATION);
    EXPECT_FALSE(status()->topmost);
}

TEST_F(OperatorsDesk, ConfigurationDialogTellsPortAndAddresses)
{
    strcpy(gateway.selected_address, "10.0.0.1");
    desk.dialog_commands = {COMMAND_OK};
    struct {
        const char *bind, *port, *beginning, *shown_port;
    } cases[] = {
        {nullptr, nullptr, "on the INTERNAL IP address of [10.0.0.1] only\r\n\r\n", "25"},
        {"0", "2525", "on ALL IP addresses\r\n\r\n", "2525"},
        {"2", "0x19", "on ALL IP addresses\r\n\r\n", "0x19"},
        {" 1x", "25", "on the INTERNAL IP address of [10.0.0.1] only\r\n\r\n", "25"},
    };
    for (const auto &one : cases) {
        if (one.bind != nullptr) {
            write_setting("bind", one.bind);
            write_setting("port", one.port);
        }
        EXPECT_EQ(
            send_message(gateway.mainWindow, MESSAGE_COMMAND, TRAY_CONFIGURATION, 0), 0);
        const std::string expected =
            std::string("This SMTP server is configured to allow connections ") +
            one.beginning + "If you wish to change this";
        EXPECT_EQ(desk.dialog_text.substr(0, expected.size()), expected);
        EXPECT_EQ(desk.dialog_port, one.shown_port);
    }
}

TEST_F(OperatorsDesk, TrayMenuIsBuiltWholeOrNotAtAll)
{
    const Texts whole = {"6004 View current configuration...",
                         "6003 About the Quillon SMTP server...", "6002 Close Menu",
                         "6001 Show SMTP server", "6000 Close SMTP server down"};
    for (const int room : {-1, 2, 4, 5}) {
        headless_operator.popup_room = room;
        desk.popup_items.clear();
        send_message(gateway.mainWindow, TRAY_CALLBACK, 1024, TRAY_RIGHT_PRESSED);
        EXPECT_EQ(desk.popup_items, room < 5 ? Texts() : whole) << room;
    }

    constexpr int left_released = 514;
    constexpr int right_released = 517;
    desk.popup_items.clear();
    for (const int mouse : {512, left_released, 515, right_released, 518}) {
        send_message(gateway.mainWindow, TRAY_CALLBACK, 1024, mouse);
    }
    EXPECT_TRUE(desk.popup_items.empty());
    EXPECT_FALSE(window_is_shown(status()));

    desk.popup_choice = TRAY_SHOW;
    send_message(gateway.mainWindow, TRAY_CALLBACK, 1024, TRAY_RIGHT_PRESSED);
    Message message{};
    while (!window_is_shown(status()) && next_message(&message)) {
        dispatch_message(message);
    }
    EXPECT_TRUE(window_is_shown(status()));
    EXPECT_EQ(status_window_shown, 0);
}

TEST_F(OperatorsDesk, NoKeepsTheServerRunning)
{
    desk.answer = BOX_NO;
    gateway.timer = timer_start(gateway.mainWindow, 1000);
    const int timer = gateway.timer;
    const Texts box_texts = {
        "Quillon SMTP server|If you close the SMTP server down, Quillon will not be able "
        "to\r\naccept mail from your network users,\r\n\r\n"
        "Are you sure you want to continue and close the server down ?",
        "Brevant Tessaro SMTP server|If you close the SMTP server down, Quillon will not "
        "be able to accept mail\r\nfrom your network users. \r\n\r\n"
        "Are you sure you want to continue and close the server down ?"};
    for (const int id : {MENU_CLOSE_DOWN, CONTROL_SHUTDOWN, COMMAND_OK}) {
        desk.boxes.clear();
        command(id);
        EXPECT_EQ(desk.boxes, Texts{box_texts[0]});
    }
    for (const int id : {TRAY_CLOSE_DOWN, 2, 1025}) {
        desk.boxes.clear();
        EXPECT_EQ(send_message(gateway.mainWindow, MESSAGE_COMMAND, id, 0), 0);
        EXPECT_EQ(desk.boxes, Texts{box_texts[1]});
    }
    EXPECT_EQ(gateway.timer, timer);
    EXPECT_EQ(setting("HWND"), "missing");
    EXPECT_EQ(setting("TOP"), "missing");
    EXPECT_EQ(slurp("LOGS/QLNSMTP.TXT"), "");
}

TEST_F(OperatorsDesk, AnyOtherAnswerClosesTheServerDown)
{
    struct {
        Param id;
        const char *left;
        int answer;
        bool from_status_window;
    } ways[] = {{CONTROL_SHUTDOWN, "71", BOX_YES, true},
                {MENU_CLOSE_DOWN, "71", BOX_NOT_SHOWN, true},
                {TRAY_CLOSE_DOWN, "missing", BOX_YES, false},
                {TRAY_CLOSE_DOWN, "missing", BOX_NOT_SHOWN, false}};
    for (const auto &way : ways) {
        if (gateway.mainWindow == nullptr) {
            gateway.mainWindow = window_create("main", "", {}, nullptr);
            open_status_window();
        }
        headless_operator.icon_is_there = true;
        fs::remove("LOGS/QLNSMTP.TXT");
        std::ofstream("data/raw/qlnxserver.dat") << "[QLNSMTP]\nHWND=77\n";
        settings_flush();
        window_move(status(), 71, 17);
        gateway.timer = timer_start(gateway.mainWindow, 1000);
        desk.answer = way.answer;

        Window *asked = way.from_status_window ? status() : gateway.mainWindow;
        EXPECT_EQ(send_message(asked, MESSAGE_COMMAND, way.id, 0), 1);
        EXPECT_EQ(gateway.mainWindow, nullptr);
        EXPECT_EQ(gateway.statusWindow, nullptr);
        EXPECT_EQ(gateway.timer, 0);
        EXPECT_FALSE(headless_operator.icon_is_there);
        EXPECT_EQ(slurp("LOGS/QLNSMTP.TXT").substr(STAMP_SIZE),
                  "SMTP: Server is being closed down\r\n");
        EXPECT_EQ(setting("LEFT"), way.left);
        EXPECT_EQ(setting("HWND"), way.from_status_window ? "" : "77");
        Message message{};
        EXPECT_FALSE(next_message(&message));
        EXPECT_EQ(message.first, 0);
    }
}
