#include "capture/wayland/DesktopKeyboardLayout.h"
#include "capture/wayland/InputDeviceSet.h"
#include "capture/wayland/InputEventStream.h"
#include "capture/wayland/InputHelperArguments.h"
#include "capture/wayland/InputHelperProcess.h"
#include "capture/wayland/InputHelperProtocol.h"
#include "capture/wayland/InputHelperRun.h"
#include "capture/wayland/WaylandInputSource.h"

#include "capture/RecordedInputStream.h"
#include "capture/ShortcutSession.h"
#include "support/RunCommand.h"
#include "support/ScopedEnvironment.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fstream>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <thread>

extern char** environ;

namespace vantile {
namespace {

using namespace std::chrono_literals;
using Kind = RawInput::Kind;
using testing::RecordedInputStream;
using testing::TemporaryDirectory;

const RecordedInputStream::TimePoint epoch{std::chrono::seconds(50)};

// A session of clicks, wheels, typing and input the helper must leave out, typed with the
// keyboard keys `random` picks.
RecordedInputStream typedSession(std::mt19937& random)
{
    std::uniform_int_distribution<unsigned short> keyboardKey(KEY_ESC, KEY_MICMUTE);
    const auto key = [&] {
        unsigned short code = 0;
        do code = keyboardKey(random);
        while (code >= BTN_MISC && code < KEY_OK);  // buttons of mice and pads, not keys
        return code;
    };
    const unsigned short first = key(), second = key();
    RecordedInputStream stream(epoch);
    stream.at(0.10).press(first, 1).at(0.15).press(first, 2).at(0.20).press(first, 0);
    stream.at(0.30).press(BTN_LEFT, 1).at(0.35).press(BTN_LEFT, 0);
    stream.at(0.40).relative(REL_WHEEL, -2).report();
    stream.at(0.50).press(BTN_RIGHT, 1).at(0.55).press(BTN_RIGHT, 0);
    stream.at(0.60).relative(REL_X, 12).relative(REL_Y, -3).report();
    stream.at(0.70).press(BTN_MIDDLE, 1).at(0.72).press(BTN_MIDDLE, 0);
    stream.at(0.80).key(first, 1).key(second, 1).report().at(0.85).key(second, 0).key(first, 0).report();
    stream.at(0.90).relative(REL_HWHEEL_HI_RES, 120).relative(REL_HWHEEL, 1).report();
    // Lost events: the unfinished frame goes, the next one counts.
    stream.at(0.95).key(first, 1).dropped().report().at(0.97).press(second, 1);
    return stream;
}

std::vector<RawInput> typedSessionActivity()
{
    const RecordedInputStream times(epoch);
    const auto at = [&](Kind kind, double seconds, double dx = 0, double dy = 0) {
        return RawInput{.kind = kind, .scrollingDeltaX = dx, .scrollingDeltaY = dy, .time = times.timeAt(seconds)};
    };
    return {at(Kind::keyDown, 0.10), at(Kind::keyUp, 0.20), at(Kind::leftMouseDown, 0.30),
            at(Kind::leftMouseUp, 0.35), at(Kind::scrollWheel, 0.40, 0, -1), at(Kind::scrollWheel, 0.40, 0, -1),
            at(Kind::rightMouseDown, 0.50), at(Kind::rightMouseUp, 0.55), at(Kind::keyDown, 0.80),
            at(Kind::keyDown, 0.80), at(Kind::keyUp, 0.85), at(Kind::keyUp, 0.85),
            at(Kind::scrollWheel, 0.90, -1, 0), at(Kind::keyDown, 0.97)};
}

std::string readAvailable(int fd)
{
    std::string bytes;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = ::read(fd, buffer, sizeof buffer)) > 0) bytes.append(buffer, static_cast<std::size_t>(count));
    return bytes;
}

std::vector<RawInput> readBack(const std::string& bytes, bool shortcutsAsked = false)
{
    std::vector<RawInput> activity;
    InputHelperRecordReader reader(shortcutsAsked);
    EXPECT_TRUE(reader.append(reinterpret_cast<const std::byte*>(bytes.data()), bytes.size(), activity));
    return activity;
}

// What the helper writes for recorded device streams, one device each, through the functions the
// program runs.
std::string helperOutput(const std::vector<const RecordedInputStream*>& recorded,
                         const std::optional<KeyboardLayout>& shortcuts = std::nullopt)
{
    TemporaryDirectory directory;
    std::vector<std::filesystem::path> nodes;
    for (std::size_t index = 0; index < recorded.size(); ++index) {
        nodes.push_back(directory / ("event" + std::to_string(index + 3)));
        EXPECT_EQ(mkfifo(nodes.back().c_str(), 0600), 0);
    }
    InputDeviceSet devices(directory.path(), &InputEventStream::open);
    devices.recordShortcuts(shortcuts);
    devices.open();
    std::vector<int> writers;
    for (std::size_t index = 0; index < recorded.size(); ++index) {
        writers.push_back(::open(nodes[index].c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
        const auto bytes = recorded[index]->events().size() * sizeof(input_event);
        EXPECT_EQ(::write(writers.back(), recorded[index]->events().data(), bytes), static_cast<ssize_t>(bytes));
    }
    int output[2];
    EXPECT_EQ(pipe2(output, O_CLOEXEC | O_NONBLOCK), 0);
    pollfd ready{devices.fileDescriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&ready, 1, 5000), 1);
    EXPECT_TRUE(writeInputHelperGreeting(output[1], shortcuts.has_value()));
    EXPECT_TRUE(forwardInputActivity(devices, output[1]));
    for (const int writer : writers) ::close(writer);
    ::close(output[1]);
    const std::string written = readAvailable(output[0]);
    ::close(output[0]);
    return written;
}

std::string helperOutput(const RecordedInputStream& recorded) { return helperOutput({&recorded}); }

// Key activity as the first version of the helper wrote it, spelled out byte by byte.
std::string firstVersionBytes(const std::vector<RawInput>& keyActivity)
{
    std::string bytes = "VANTILE-INPUT-1\n";
    for (const RawInput& input : keyActivity) {
        std::string record(16, '\0');
        record[0] = input.kind == Kind::keyDown ? 5 : 6;
        auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(input.time->time_since_epoch()).count();
        for (std::size_t index = 8; index < 16; ++index, nanoseconds >>= 8) record[index] = static_cast<char>(nanoseconds & 0xff);
        bytes += record;
    }
    return bytes;
}

TEST(InputHelperTest, ForwardsButtonsWheelsAndKeyActivityAndNoKeyCodeChangesAByte)
{
    std::mt19937 random(20261125);
    const std::string first = helperOutput(typedSession(random));
    EXPECT_EQ(readBack(first), typedSessionActivity());
    EXPECT_EQ(first.size(), InputHelperProtocol::greeting.size() + typedSessionActivity().size() * InputHelperProtocol::recordSize);
    for (int round = 0; round < 25; ++round) {
        const std::string again = helperOutput(typedSession(random));
        ASSERT_EQ(again, first) << "round " << round << ": the output depends on which keys were typed";
    }
}

TEST(InputHelperTest, TheAppReadsRecordsInPiecesAndStopsAtAnythingTheHelperCannotHaveWritten)
{
    std::string bytes(InputHelperProtocol::greeting);
    for (const RawInput& input : typedSessionActivity()) {
        const auto record = InputHelperProtocol::encode(input);
        ASSERT_TRUE(record);
        bytes.append(reinterpret_cast<const char*>(record->data()), record->size());
    }
    EXPECT_FALSE(InputHelperProtocol::encode({.kind = Kind::mouseMoved, .time = epoch}));

    InputHelperRecordReader pieces;
    std::vector<RawInput> activity;
    for (std::size_t offset = 0; offset < bytes.size(); offset += 7)
        ASSERT_TRUE(pieces.append(reinterpret_cast<const std::byte*>(bytes.data() + offset),
                                  std::min<std::size_t>(7, bytes.size() - offset), activity));
    EXPECT_EQ(activity, typedSessionActivity());

    const auto brokenAt = [&](std::size_t offset, char value) {
        std::string broken = bytes;
        broken[offset] = value;
        InputHelperRecordReader reader;
        std::vector<RawInput> read;
        return !reader.append(reinterpret_cast<const std::byte*>(broken.data()), broken.size(), read) && reader.broken();
    };
    const std::size_t firstRecord = InputHelperProtocol::greeting.size();
    EXPECT_TRUE(brokenAt(0, 'X'));                    // not the helper, or another version of it
    EXPECT_TRUE(brokenAt(firstRecord, 9));            // no such kind
    EXPECT_TRUE(brokenAt(firstRecord + 4, 0x2a));     // a byte that must stay zero, say a key code
    EXPECT_TRUE(brokenAt(firstRecord + 1, 1));        // a key with a wheel's direction
    EXPECT_TRUE(brokenAt(firstRecord + 4 * 16 + 2, 5));  // a wheel turned five notches at once
}

// Ending when the reader goes is the program's own test (EndsWhenItsParentClosesThePipe).
TEST(InputHelperTest, RunEndsWhenTheTimeLimitPasses)
{
    TemporaryDirectory directory;
    InputDeviceSet devices(directory.path(), &InputEventStream::open);
    devices.open();

    int output[2];
    ASSERT_EQ(pipe2(output, O_CLOEXEC), 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(runInputHelper(devices, output[1], {.parent = 0, .deadline = start + 300ms}), InputHelperEnd::timeLimit);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);
    ::close(output[0]);
    ::close(output[1]);
}

TEST(InputHelperTest, OnlyInputEventDevicesAreAccepted)
{
    for (const std::string path : {"/dev/input/event0", "/dev/input/event17", "/dev/input/event12345"})
        EXPECT_TRUE(isInputEventDevicePath(path)) << path;
    for (const std::string path :
         {"", "/etc/passwd", "/etc/shadow", "/dev/input/../../etc/shadow", "/dev/input/event1/../../../etc/shadow",
          "/dev/input/mice", "/dev/input/mouse0", "/dev/input/js0", "/dev/input/event", "/dev/input/event1x",
          "/dev/input/event-1", "/dev/input/event+1", "/dev/input/event123456", "/dev/input/by-id/usb-kbd-event-kbd",
          "/dev/input/by-path/platform-i8042-serio-0-event-kbd", "dev/input/event1", "//dev/input/event1",
          "/dev/input/./event1", "/dev/input//event1", "/dev/input/event1/", "/dev/input/event 1", "/dev/input/event1\n",
          "/dev/mem", "/dev/sda", "/proc/self/mem", "-", "--help"})
        EXPECT_FALSE(isInputEventDevicePath(path)) << path;

    const auto parsed = parseInputHelperArguments({"/dev/input/event3", "/dev/input/event5", "/dev/input/event3"}, true);
    EXPECT_EQ(parsed, (InputHelperOptions{.devices = {"/dev/input/event3", "/dev/input/event5"}}));
    EXPECT_EQ(parseInputHelperArguments({}, true), InputHelperOptions{});
    EXPECT_EQ(parseInputHelperArguments({"--replay-directory", "/tmp/x"}, false).replayDirectory, "/tmp/x");
    EXPECT_THROW(parseInputHelperArguments({"--replay-directory", "/tmp/x"}, true), InputHelperError);
    EXPECT_THROW(parseInputHelperArguments({"--replay-directory"}, false), InputHelperError);
    EXPECT_THROW(parseInputHelperArguments({"/dev/input/event3", "--device=/etc/passwd"}, true), InputHelperError);
    try {
        parseInputHelperArguments({"/dev/input/event3", "/dev/input/../../etc/shadow"}, true);
        ADD_FAILURE() << "accepted a path out of /dev/input";
    } catch (const InputHelperError& error) {
        EXPECT_NE(std::string(error.what()).find("“/dev/input/../../etc/shadow”"), std::string::npos) << error.what();
    }
}

TEST(InputHelperTest, WithShortcutsTheHelperAddsExactlyTheChordsInOrderAndWithoutThemWritesTheFirstVersionsBytes)
{
    const testing::ShortcutSession session(epoch);
    const std::vector<const RecordedInputStream*> keyboards{&session.keyboard, &session.secondKeyboard};
    const std::string plain = helperOutput(keyboards);
    EXPECT_EQ(plain, firstVersionBytes(session.keyActivity(false)));

    const std::string named = helperOutput(keyboards, KeyboardLayout{.layout = "us"});
    ASSERT_TRUE(named.starts_with("VANTILE-INPUT-2\n"));
    EXPECT_EQ(readBack(named, true), session.keyActivity(true));
    // The chords' records are all there is besides what the first version wrote: the typing
    // records carry nothing more.
    std::string withoutChords = "VANTILE-INPUT-1\n";
    for (std::size_t offset = InputHelperProtocol::shortcutsGreeting.size(); offset + 16 <= named.size();) {
        const bool chord = named[offset] == 8;
        const std::size_t size = 16 + (chord ? static_cast<unsigned char>(named[offset + 1]) : 0);
        if (!chord) withoutChords += named.substr(offset, size);
        offset += size;
    }
    EXPECT_EQ(withoutChords, plain);
}

// A chord's record as the second version lays it out, claiming `length` bytes of name.
std::string chordRecord(const std::string& name, std::size_t length, double seconds)
{
    RawInput input{.kind = Kind::keyDown, .time = epoch + std::chrono::milliseconds(static_cast<int>(seconds * 1000))};
    const auto keyDown = InputHelperProtocol::encode(input);
    std::string record(reinterpret_cast<const char*>(keyDown->data()), keyDown->size());
    record[0] = 8;
    record[1] = static_cast<char>(length);
    return record + name;
}

TEST(InputHelperTest, ChordsAreReadOnlyWhenAskedForAndOnlyWithNamesAChordCanHave)
{
    const auto keyRecord = [](Kind kind, double seconds) {
        const auto record = InputHelperProtocol::encode({.kind = kind, .time = epoch + std::chrono::milliseconds(static_cast<int>(seconds * 1000))});
        return std::string(reinterpret_cast<const char*>(record->data()), record->size());
    };
    const std::string records = keyRecord(Kind::keyDown, 1) + chordRecord("Ctrl+Shift+P", 12, 1) +
                                chordRecord("Super+←", 9, 2) + keyRecord(Kind::keyUp, 3);
    const std::string stream = std::string(InputHelperProtocol::shortcutsGreeting) + records;
    const auto time = [](double seconds) { return epoch + std::chrono::milliseconds(static_cast<int>(seconds * 1000)); };
    const std::vector<RawInput> expected{{.kind = Kind::keyDown, .time = time(1)},
                                         {.kind = Kind::shortcut, .keys = "Ctrl+Shift+P", .time = time(1)},
                                         {.kind = Kind::shortcut, .keys = "Super+←", .time = time(2)},
                                         {.kind = Kind::keyUp, .time = time(3)}};
    InputHelperRecordReader pieces(true);
    std::vector<RawInput> activity;
    for (std::size_t offset = 0; offset < stream.size(); offset += 5)
        ASSERT_TRUE(pieces.append(reinterpret_cast<const std::byte*>(stream.data() + offset),
                                  std::min<std::size_t>(5, stream.size() - offset), activity));
    EXPECT_EQ(activity, expected);
    const auto encoded = InputHelperProtocol::encode(expected[1]);
    ASSERT_TRUE(encoded);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(encoded->data()), encoded->size()), chordRecord("Ctrl+Shift+P", 12, 1));

    const auto breaks = [](const std::string& bytes, bool shortcutsAsked) {
        InputHelperRecordReader reader(shortcutsAsked);
        std::vector<RawInput> read;
        return !reader.append(reinterpret_cast<const std::byte*>(bytes.data()), bytes.size(), read) && reader.broken();
    };
    const std::string greeting(InputHelperProtocol::shortcutsGreeting);
    EXPECT_FALSE(breaks(stream, true));
    EXPECT_TRUE(breaks(stream, false));  // chords nobody asked for
    EXPECT_TRUE(breaks(std::string(InputHelperProtocol::greeting) + records, true));
    EXPECT_TRUE(breaks(std::string(InputHelperProtocol::greeting) + records, false));
    for (const std::string name : {"Shift+P", "P", "Ctrl+p", "Ctrl+Hello", "Ctrl+", "Alt+Ctrl+P", "Ctrl+Ctrl+P",
                                    "Ctrl+\x1b[2J", "Ctrl+\x07", "Ctrl+P\n", "Ctrl+F25", "Ctrl+F0"})
        EXPECT_TRUE(breaks(greeting + chordRecord(name, name.size(), 1), true)) << name;
    EXPECT_TRUE(breaks(greeting + chordRecord("", 0, 1), true));
    const std::string overLong = "Ctrl+Alt+Super+Shift+ScrollLock+X";
    EXPECT_TRUE(breaks(greeting + chordRecord(overLong, overLong.size(), 1), true));
    // A length past any chord's breaks the stream at once, before its name could arrive.
    EXPECT_TRUE(breaks(greeting + chordRecord("", 200, 1), true));
    std::string wheelByte = greeting + chordRecord("Ctrl+P", 6, 1);
    wheelByte[greeting.size() + 2] = 1;
    EXPECT_TRUE(breaks(wheelByte, true));
    for (const std::string& name : std::vector<std::string>{"H", "Shift+H", overLong})
        EXPECT_FALSE(InputHelperProtocol::encode({.kind = Kind::shortcut, .keys = name, .time = epoch})) << name;
}

TEST(InputHelperTest, ShortcutArgumentsCarryOnlyPlainLayoutNames)
{
    const KeyboardLayout layout{.model = "pc105", .layout = "de,us", .variant = "nodeadkeys,", .options = "grp:alt_shift_toggle"};
    const auto arguments = inputHelperShortcutArguments(layout);
    EXPECT_EQ(parseInputHelperArguments(arguments, true).shortcuts, layout);
    EXPECT_EQ(parseInputHelperArguments({"--shortcuts"}, true).shortcuts, KeyboardLayout{});
    EXPECT_EQ(parseInputHelperArguments({"/dev/input/event3"}, true).shortcuts, std::nullopt);
    for (const std::vector<std::string>& refused :
         std::vector<std::vector<std::string>>{{"--xkb-layout", "us"},
                                               {"--shortcuts", "--xkb-layout", "../../../etc/shadow"},
                                               {"--shortcuts", "--xkb-rules", "/etc/shadow"},
                                               {"--shortcuts", "--xkb-layout", "us/../../x"},
                                               {"--shortcuts", "--xkb-variant", "a b"},
                                               {"--shortcuts", "--xkb-layout", "us", "--xkb-layout", "de"},
                                               {"--shortcuts", "--xkb-layout"}})
        EXPECT_THROW(parseInputHelperArguments(refused, true), InputHelperError) << refused.back();
    const auto result = testing::runCommand(
        {"timeout", "10", VANTILE_INPUT_HELPER, "--shortcuts", "--xkb-layout", "../../../etc/shadow"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.standardOutput, "");
}

// Shortcuts are named in the layout the desktop types with: GNOME's active input source, KDE's
// first layout, and from either only names the helper accepts.
TEST(InputHelperTest, TheDesktopsActiveLayoutNamesShortcuts)
{
    EXPECT_EQ(gnomeKeyboardLayout("[('xkb', 'us'), ('xkb', 'de+nodeadkeys'), ('ibus', 'anthy')]\n",
                                  "[('ibus', 'anthy'), ('xkb', 'de+nodeadkeys'), ('xkb', 'us')]\n",
                                  "['ctrl:nocaps', 'compose:ralt']\n"),
              (KeyboardLayout{.layout = "de", .variant = "nodeadkeys", .options = "ctrl:nocaps,compose:ralt"}));
    // Before the first switch the recent list is empty: the first configured source is active.
    EXPECT_EQ(gnomeKeyboardLayout("[('xkb', 'fr'), ('xkb', 'us')]", "@a(ss) []", "@as []"), KeyboardLayout{.layout = "fr"});
    EXPECT_EQ(gnomeKeyboardLayout("[('ibus', 'mozc-jp')]", "@a(ss) []", "@as []"), std::nullopt);
    EXPECT_EQ(gnomeKeyboardLayout("", "", ""), std::nullopt);
    EXPECT_EQ(gnomeKeyboardLayout("[('xkb', '../../etc/shadow+x y')]", "", "['/etc/passwd']"), KeyboardLayout{});

    const std::string kxkbrc = "[$Version]\nupdate_info=kxkb.upd:remove-empty-lists\n\n[Other]\nLayoutList=ru\n\n"
                               "[Layout]\nDisplayNames=,\nLayoutList=de,us\nOptions=grp:alt_shift_toggle\n"
                               "ResetOldOptions=true\nUse=true\nVariantList=nodeadkeys,\n";
    EXPECT_EQ(kdeKeyboardLayout(kxkbrc),
              (KeyboardLayout{.layout = "de", .variant = "nodeadkeys", .options = "grp:alt_shift_toggle"}));
    EXPECT_EQ(kdeKeyboardLayout("[Layout]\nLayoutList=de\nUse=false\n"), std::nullopt);
    EXPECT_EQ(kdeKeyboardLayout(""), std::nullopt);

    // The session's own names come first; without them, KDE's file is read.
    TemporaryDirectory configuration;
    std::ofstream(configuration / "kxkbrc") << kxkbrc;
    {
        const testing::ScopedEnvironment kde{{"XKB_DEFAULT_LAYOUT", std::nullopt}, {"XKB_DEFAULT_VARIANT", std::nullopt},
                                             {"XKB_DEFAULT_OPTIONS", std::nullopt}, {"XDG_CURRENT_DESKTOP", "KDE"},
                                             {"XDG_CONFIG_HOME", configuration.path().string()}};
        EXPECT_EQ(desktopKeyboardLayout().layout, "de");
    }
    // GNOME's through its own settings tool, here from a key file instead of dconf.
    std::filesystem::create_directories(configuration / "glib-2.0" / "settings");
    std::ofstream(configuration / "glib-2.0" / "settings" / "keyfile")
        << "[org/gnome/desktop/input-sources]\nsources=[('xkb', 'us'), ('xkb', 'de+nodeadkeys')]\n"
           "mru-sources=[('xkb', 'de+nodeadkeys')]\nxkb-options=['ctrl:nocaps']\n";
    {
        const testing::ScopedEnvironment gnome{{"XKB_DEFAULT_LAYOUT", std::nullopt}, {"XKB_DEFAULT_VARIANT", std::nullopt},
                                               {"XKB_DEFAULT_OPTIONS", std::nullopt}, {"XDG_CURRENT_DESKTOP", "ubuntu:GNOME"},
                                               {"GSETTINGS_BACKEND", "keyfile"},
                                               {"XDG_CONFIG_HOME", configuration.path().string()}};
        EXPECT_EQ(desktopKeyboardLayout(),
                  (KeyboardLayout{.layout = "de", .variant = "nodeadkeys", .options = "ctrl:nocaps"}));
    }
    const testing::ScopedEnvironment named{{"XKB_DEFAULT_LAYOUT", "fr"}, {"XDG_CURRENT_DESKTOP", "KDE"},
                                           {"XDG_CONFIG_HOME", configuration.path().string()}};
    EXPECT_EQ(desktopKeyboardLayout().layout, "fr");
}

// The built helper, copied where the user a replay runs as can start it. A replay is refused to
// root, so as root it runs as nobody.
struct HelperProgram {
    TemporaryDirectory directory;
    std::filesystem::path program = directory / "vantile-input-helper";
    std::filesystem::path replay = directory / "replay";
    std::filesystem::path device = replay / "event0";

    HelperProgram()
    {
        namespace fs = std::filesystem;
        const auto readable = fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                              fs::perms::others_read | fs::perms::others_exec;
        fs::permissions(directory.path(), readable);
        fs::copy_file(VANTILE_INPUT_HELPER, program);
        fs::permissions(program, readable);
        fs::create_directory(replay);
        fs::permissions(replay, readable);
        if (mkfifo(device.c_str(), 0644) != 0 || chmod(device.c_str(), 0644) != 0) throw std::runtime_error("mkfifo");
    }
    std::vector<std::string> replayCommand() const
    {
        std::vector<std::string> command;
        if (geteuid() == 0) command = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
        command.insert(command.end(), {program.string(), "--replay-directory", replay.string()});
        return command;
    }
    // Once the helper reads the device.
    void write(const RecordedInputStream& stream) const
    {
        const int writer = ::open(device.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        ASSERT_GE(writer, 0) << "the helper does not read " << device;
        const auto bytes = stream.events().size() * sizeof(input_event);
        ASSERT_EQ(::write(writer, stream.events().data(), bytes), static_cast<ssize_t>(bytes));
        ::close(writer);
    }
};

// A command ready to start with its standard output on a descriptor; prepared whole, so that a
// forked child only has to call start().
class Spawn {
public:
    Spawn(std::vector<std::string> command, int standardOutput) : arguments_(std::move(command))
    {
        for (std::string& argument : arguments_) pointers_.push_back(argument.data());
        pointers_.push_back(nullptr);
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_adddup2(&actions_, standardOutput, STDOUT_FILENO);
    }
    ~Spawn() { posix_spawn_file_actions_destroy(&actions_); }
    Spawn(const Spawn&) = delete;
    Spawn& operator=(const Spawn&) = delete;

    pid_t start()
    {
        pid_t child = -1;
        return posix_spawn(&child, pointers_.front(), &actions_, nullptr, pointers_.data(), environ) == 0 ? child : -1;
    }

private:
    std::vector<std::string> arguments_;
    std::vector<char*> pointers_;
    posix_spawn_file_actions_t actions_;
};

// Reads `size` bytes, or fewer when the writer is gone or `patience` runs out.
std::string readWithin(int fd, std::size_t size, std::chrono::milliseconds patience)
{
    std::string bytes;
    const auto giveUp = std::chrono::steady_clock::now() + patience;
    while (bytes.size() < size && std::chrono::steady_clock::now() < giveUp) {
        pollfd ready{fd, POLLIN, 0};
        if (poll(&ready, 1, 50) <= 0) continue;
        char buffer[256];
        const ssize_t count = ::read(fd, buffer, std::min(sizeof buffer, size - bytes.size()));
        if (count <= 0) break;
        bytes.append(buffer, static_cast<std::size_t>(count));
    }
    return bytes;
}

// True once every writer of the pipe is gone, within `patience`.
bool endsWithin(int fd, std::chrono::milliseconds patience)
{
    const auto giveUp = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < giveUp) {
        pollfd ready{fd, POLLIN, 0};
        if (poll(&ready, 1, 50) <= 0) continue;
        char buffer[256];
        if (::read(fd, buffer, sizeof buffer) == 0) return true;
    }
    return false;
}

RecordedInputStream oneClick()
{
    return std::move(RecordedInputStream(epoch).at(1).press(BTN_LEFT, 1).at(1.1).press(BTN_LEFT, 0));
}

TEST(InputHelperProgramTest, EndsWhenItsParentIsKilledEvenWhileSomeoneStillReads)
{
    const HelperProgram helper;
    int output[2];
    ASSERT_EQ(pipe2(output, O_CLOEXEC), 0);
    Spawn spawn(helper.replayCommand(), output[1]);
    const pid_t parent = fork();
    ASSERT_GE(parent, 0);
    if (parent == 0) {
        // Stands for Vantile: starts the helper, then waits to be killed.
        if (spawn.start() < 0) _exit(1);
        for (;;) pause();
    }
    ::close(output[1]);

    const std::string greeting = readWithin(output[0], InputHelperProtocol::greeting.size(), 10s);
    ASSERT_EQ(greeting, InputHelperProtocol::greeting);
    helper.write(oneClick());
    const std::string click = readWithin(output[0], 2 * InputHelperProtocol::recordSize, 5s);
    const auto read = readBack(greeting + click);
    ASSERT_EQ(read.size(), 2u);
    EXPECT_EQ(read[0].kind, Kind::leftMouseDown);
    EXPECT_EQ(read[1].kind, Kind::leftMouseUp);

    kill(parent, SIGKILL);
    waitpid(parent, nullptr, 0);
    // This process still reads, so only the parent's death can end the helper.
    EXPECT_TRUE(endsWithin(output[0], 5s)) << "the helper outlived its parent";
    ::close(output[0]);
}

TEST(InputHelperProgramTest, EndsWhenItsParentClosesThePipe)
{
    const HelperProgram helper;
    int output[2];
    ASSERT_EQ(pipe2(output, O_CLOEXEC), 0);
    Spawn spawn(helper.replayCommand(), output[1]);
    const pid_t child = spawn.start();
    ASSERT_GT(child, 0);
    ::close(output[1]);
    ASSERT_EQ(readWithin(output[0], InputHelperProtocol::greeting.size(), 10s), InputHelperProtocol::greeting);
    ::close(output[0]);

    int status = -1;
    const auto giveUp = std::chrono::steady_clock::now() + 5s;
    while (waitpid(child, &status, WNOHANG) == 0 && std::chrono::steady_clock::now() < giveUp) std::this_thread::sleep_for(10ms);
    if (!WIFEXITED(status)) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        FAIL() << "the helper runs on with nobody reading";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(InputHelperProgramTest, RefusesEveryPathButInputEventDevicesBeforeOpeningAnything)
{
    TemporaryDirectory directory;
    std::filesystem::create_symlink("/etc/passwd", directory / "event0");
    const std::vector<std::string> refused{"/etc/passwd", "/dev/input/../../etc/shadow", "/dev/input/mice",
                                           "/dev/input/event", "/dev/input/event0/", "/dev/input/by-id/usb-kbd-event-kbd",
                                           "/dev/mem", "--verbose", (directory / "event0").string()};
    for (const std::string& path : refused) {
        // Bounded, so that a helper that accepted the path fails the test instead of running on.
        const auto result = testing::runCommand({"timeout", "10", VANTILE_INPUT_HELPER, "/dev/input/event0", path});
        EXPECT_EQ(result.exitCode, 2) << path;
        EXPECT_EQ(result.standardOutput, "") << path;
        EXPECT_NE(result.standardError.find("only input event devices (/dev/input/eventN)"), std::string::npos)
            << path << ": " << result.standardError;
    }
    if (geteuid() == 0) {
        // With root's rights a replay would read files for whoever started it.
        const auto result =
            testing::runCommand({"timeout", "10", VANTILE_INPUT_HELPER, "--replay-directory", directory.path().string()});
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.standardOutput, "");
        EXPECT_NE(result.standardError.find("only replayed without root's rights"), std::string::npos) << result.standardError;
    }
}

// Dispatches as the source signals, until done() or ten seconds pass.
template <typename Done>
bool dispatchUntil(WaylandInputSource& source, Done done)
{
    const auto giveUp = std::chrono::steady_clock::now() + 10s;
    while (!done() && std::chrono::steady_clock::now() < giveUp) {
        pollfd ready{source.fileDescriptor(), POLLIN, 0};
        poll(&ready, 1, 50);
        source.dispatchPending();
    }
    return done();
}

TEST(InputHelperProgramTest, TheAppGetsClicksWithTheirPointerPositionsThroughTheHelper)
{
    const HelperProgram helper;
    auto tracker = std::make_shared<PointerTracker>();
    auto process = std::make_unique<InputHelperProcess>(helper.replayCommand());
    InputHelperProcess* running = process.get();
    WaylandInputSource source(tracker, std::move(process));
    std::vector<RawInput> received;
    ASSERT_TRUE(source.install([&](const RawInput& input) { received.push_back(input); }));
    ASSERT_TRUE(dispatchUntil(source, [&] { return running->greeted(); })) << "the helper did not start";

    // Long past, so nothing waits for later pointer positions.
    RecordedInputStream click(std::chrono::steady_clock::now() - 10s);
    tracker->update({300, 200}, click.timeAt(0.5));
    click.at(1).press(BTN_LEFT, 1).at(1.1).press(BTN_LEFT, 0).at(1.2).press(KEY_H, 1);
    helper.write(click);
    ASSERT_TRUE(dispatchUntil(source, [&] { return received.size() >= 4; }));
    const CodablePoint where{300, 200};
    EXPECT_EQ(received, (std::vector<RawInput>{
                            {.kind = Kind::mouseMoved, .time = click.timeAt(0.5), .location = where},
                            {.kind = Kind::leftMouseDown, .time = click.timeAt(1), .location = where},
                            {.kind = Kind::leftMouseUp, .time = click.timeAt(1.1), .location = where},
                            {.kind = Kind::keyDown, .time = click.timeAt(1.2), .location = where},
                        }));

    source.remove();
    EXPECT_TRUE(running->ended()) << "the helper was not stopped with the recording";
}

TEST(InputHelperProgramTest, TheAppGetsChordsThroughTheHelperOnlyWhenItAsksForThem)
{
    // The helper clears its environment: the layout must reach it as arguments.
    const auto layout = testing::usKeyboardLayout();
    for (const bool shortcuts : {false, true}) {
        const HelperProgram helper;
        auto process = std::make_unique<InputHelperProcess>(helper.replayCommand());
        InputHelperProcess* running = process.get();
        WaylandInputSource source(std::make_shared<PointerTracker>(), std::move(process));
        source.recordShortcuts(shortcuts);
        std::vector<RawInput> received;
        ASSERT_TRUE(source.install([&](const RawInput& input) { received.push_back(input); }));
        ASSERT_TRUE(dispatchUntil(source, [&] { return running->greeted(); })) << "the helper did not start";

        const testing::ShortcutSession session(std::chrono::steady_clock::now() - 10s);
        helper.write(session.keyboard);
        const auto expected = session.keyActivity(shortcuts, false);
        ASSERT_TRUE(dispatchUntil(source, [&] { return received.size() >= expected.size(); }));
        source.remove();
        EXPECT_EQ(testing::ShortcutSession::keyActivityOf(received), expected) << (shortcuts ? "with" : "without");
    }
}

TEST(InputHelperProgramTest, ConsentIsWhetherTheHelperGotToRun)
{
    const HelperProgram helper;
    EXPECT_TRUE(InputHelperProcess::authorize(helper.replayCommand(), 10s));
    // As when the user cancels the password dialog: pkexec ends without starting the helper.
    EXPECT_FALSE(InputHelperProcess::authorize({helper.program.string(), "/etc/passwd"}, 10s));
    EXPECT_FALSE(InputHelperProcess::authorize({"/nonexistent/pkexec"}, 10s));
}

}  // namespace
}  // namespace vantile
