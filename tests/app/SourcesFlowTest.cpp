#include "FakeServices.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

using testing::AppFixture;
using testing::sampleDisplay;
using testing::sampleWindow;
using testing::waitFor;

TEST(SourcesFlowTest, LoadingSelectsTheFirstKeepsAnEarlierChoiceAndSortsMicrophonesAndRoutesAreGuarded)
{
    AppFixture app;
    app.sources->microphones = {{"b", "usb Mic"}, {"a", "Built-in"}, {"c", "Zoom H1"}, {"d", "built-in"}};
    app.sources->gate.close();
    {
        std::lock_guard lock(app.sources->mutex);
        app.sources->sources = {sampleDisplay(), sampleWindow()};
    }
    app.state->loadSources();
    EXPECT_TRUE(app.state->isBusy());
    // The microphones are listed before the sources arrive, case-insensitively, stable among equals.
    std::vector<std::string> order;
    for (const auto& device : app.state->availableMicrophones()) order.push_back(device.id);
    EXPECT_EQ(order, (std::vector<std::string>{"a", "d", "b", "c"}));
    app.sources->gate.open();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->selectedSource()->id, "display-42");

    // A chosen source that vanished from the next list stays chosen; an unknown id changes nothing.
    app.state->selectSource("window-7");
    app.loadSources({sampleDisplay("display-9")});
    app.state->selectSource("window-404");
    EXPECT_EQ(app.state->sources().size(), 1u);
    EXPECT_EQ(app.state->selectedSource()->id, "window-7");

    // A chosen microphone that disappeared is forgotten; no sound server means no microphones.
    app.state->setSelectedMicrophoneDeviceID("c");
    app.sources->microphones = {{"a", "Built-in"}};
    app.state->loadAudioInputs();
    EXPECT_FALSE(app.state->selectedMicrophoneDeviceID());
    app.sources->microphonesFail = true;
    app.state->loadAudioInputs();
    EXPECT_TRUE(app.state->availableMicrophones().empty());

    // A failed listing is told and leaves the app usable.
    app.sources->failure = "Cannot reach the display server.";
    app.state->loadSources();
    ASSERT_TRUE(waitFor([&] { return !app.state->isBusy(); }));
    EXPECT_EQ(app.state->errorMessage(), "Cannot reach the display server.");
    EXPECT_EQ(app.state->sources().size(), 1u);

    // The screens move only between the screens before a recording.
    app.state->setRouteName("sourcePicker");
    EXPECT_EQ(app.state->route(), Route::sourcePicker);
    app.state->setRouteName("recording");
    app.state->setRouteName("nowhere");
    EXPECT_EQ(app.state->route(), Route::sourcePicker);
}

}  // namespace
}  // namespace vantile
