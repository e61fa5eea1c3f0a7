#include "support/AppInSession.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace vantile {

namespace {

// The background with the faint grid drawn over it.
constexpr int backgroundTolerance = 12;
// A button's own colour and its hovered one.
constexpr int buttonTolerance = 22;

}  // namespace

AppInSession::AppInSession(const HeadlessDesktop& desktop, DesktopDriver& driver, const std::filesystem::path& program,
                           const std::vector<std::string>& environment)
    : driver_(driver)
{
    std::string pattern = (std::filesystem::temp_directory_path() / "vantile-app-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot create a directory for the application");
    directory_ = pattern;
    const std::filesystem::path copy = directory_ / program.filename();
    std::filesystem::copy_file(program, copy);
    std::filesystem::permissions(directory_, std::filesystem::perms(0755));
    std::filesystem::permissions(copy, std::filesystem::perms(0755));
    std::ofstream(directory_ / "app.log").flush();
    desktop.share(directory_ / "app.log");
    // Qt picks its platform from the session, as it would on the user's desktop.
    process_ = desktop.launch({"env", "-u", "QT_QPA_PLATFORM", "sh", "-c", "exec \"$@\" 2>>\"$VANTILE_APP_LOG\"", "sh",
                               copy.string()},
                              [&] {
                                  std::vector<std::string> variables{"VANTILE_APP_LOG=" + (directory_ / "app.log").string()};
                                  variables.insert(variables.end(), environment.begin(), environment.end());
                                  return variables;
                              }());
}

AppInSession::~AppInSession()
{
    process_->stop(std::chrono::milliseconds(5000));
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

std::string AppInSession::log() const
{
    std::ostringstream text;
    text << std::ifstream(directory_ / "app.log").rdbuf();
    return text.str();
}

std::optional<ShownArea> AppInSession::waitForMainWindow(std::chrono::milliseconds timeout)
{
    std::optional<ShownArea> window;
    DesktopDriver::waitUntil([&] {
        const auto areas = driver_.areasOf(windowBackground, backgroundTolerance, 100'000);
        if (!areas.empty()) window = areas.front();
        return window.has_value();
    }, timeout);
    return window;
}

void AppInSession::clickLowestPrimaryButton()
{
    const auto lowestButton = [this]() -> std::optional<ShownArea> {
        const auto window = waitForMainWindow(std::chrono::seconds(0));
        if (!window) return std::nullopt;
        std::optional<ShownArea> lowest;
        for (const ShownArea& area : driver_.areasOf(primaryButton, buttonTolerance, 500)) {
            const bool inWindow = area.left >= window->left && area.right <= window->right &&
                                  area.top >= window->top && area.bottom <= window->bottom;
            if (inWindow && area.height() < 80 && (!lowest || area.bottom > lowest->bottom)) lowest = area;
        }
        return lowest;
    };
    // A button that stays put for a moment: the window has settled and takes clicks.
    std::optional<ShownArea> previous;
    std::optional<ShownArea> button;
    DesktopDriver::waitUntil([&] {
        const auto now = lowestButton();
        if (now && now == previous) button = now;
        previous = now;
        if (!button) std::this_thread::sleep_for(std::chrono::milliseconds(400));
        return button.has_value();
    }, std::chrono::seconds(20));
    if (!button) throw std::runtime_error("the main window shows no primary button to click");
    driver_.input().click(button->centreX(), button->centreY());
}

std::optional<ShownArea> AppInSession::waitForStopButton(std::chrono::milliseconds timeout)
{
    std::optional<ShownArea> button;
    DesktopDriver::waitUntil([&] {
        // The button is the largest red patch; the control's recording dot is far smaller.
        const auto areas = driver_.areasOf(stopButton, buttonTolerance, 400);
        if (!areas.empty()) button = areas.front();
        return button.has_value();
    }, timeout);
    return button;
}

}  // namespace vantile
