#include "FakeServices.h"
#include "RecordingCommands.h"

#include <gtest/gtest.h>

namespace vantile {
namespace {

using testing::AppFixture;
using testing::waitFor;

TEST(RecordingCommandsTest, ToggleListsSourcesStartsAndThenStopsAnsweringOnceEachFlowIsOver)
{
    AppFixture app;
    {
        std::lock_guard lock(app.sources->mutex);
        app.sources->sources = {testing::sampleWindow(), testing::sampleDisplay()};
    }
    RecordingCommands commands(*app.state);
    std::vector<RecordingCommands::Answer> answers;
    const auto note = [&](const RecordingCommands::Answer& answer) { answers.push_back(answer); };

    // Nothing is listed yet: the toggle lists the sources and records the first display.
    app.recorder->startGate.close();
    commands.toggle(note);
    EXPECT_TRUE(answers.empty());
    app.recorder->startGate.open();
    ASSERT_TRUE(waitFor([&] { return answers.size() == 1; }));
    EXPECT_EQ(answers[0].failure, std::nullopt);
    EXPECT_EQ(app.state->route(), Route::recording);
    EXPECT_TRUE(app.log.contains("recorder.start display-42"));
    // Starting what already runs is no failure, and starts nothing more.
    commands.start(std::nullopt, note);
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[1].failure, std::nullopt);

    // The second toggle stops as a command does, and answers with the saved project.
    app.recorder->stopGate.close();
    commands.toggle(note);
    EXPECT_EQ(answers.size(), 2u);
    app.recorder->stopGate.open();
    ASSERT_TRUE(waitFor([&] { return answers.size() == 3; }));
    EXPECT_EQ(answers[2].failure, std::nullopt);
    EXPECT_EQ(app.state->route(), Route::preview);
    EXPECT_EQ(app.state->lastStopTrigger(), StopTrigger::keyboardOrCommand);
    EXPECT_EQ(answers[2].projectDirectory, app.state->projectDirectory()->string());

    // Stopping with nothing recording, or starting a source nobody lists, says why.
    commands.stop(note);
    ASSERT_EQ(answers.size(), 4u);
    EXPECT_EQ(answers[3].failure, RecordingCommands::notRecording);
    commands.start(std::string("display-404"), note);
    ASSERT_TRUE(waitFor([&] { return answers.size() == 5; }));
    ASSERT_TRUE(answers[4].failure);
    EXPECT_NE(answers[4].failure->find("display-404"), std::string::npos);
    EXPECT_EQ(app.state->route(), Route::preview);
}

// A desktop keybinding pressed again during the countdown means "not now": nothing is recorded.
TEST(RecordingCommandsTest, StopAndToggleDuringTheCountdownCancelItAndLeaveNoProject)
{
    for (const bool toggled : {false, true}) {
        SCOPED_TRACE(toggled ? "toggle" : "stop");
        AppFixture app;
        app.shell.everyScreen = true;
        {
            std::lock_guard lock(app.sources->mutex);
            app.sources->sources = {testing::sampleDisplay()};
        }
        RecordingCommands commands(*app.state);
        std::vector<RecordingCommands::Answer> answers;
        const auto note = [&](const RecordingCommands::Answer& answer) { answers.push_back(answer); };
        commands.start(std::nullopt, note);
        ASSERT_TRUE(waitFor([&] { return app.shell.countdownFinished != nullptr; }));
        ASSERT_TRUE(app.state->isCountingDown());

        if (toggled) commands.toggle(note);
        else commands.stop(note);
        // The stop answers at once; the waiting start learns why nothing runs.
        ASSERT_TRUE(waitFor([&] { return answers.size() == 2; }));
        EXPECT_EQ(answers[0].failure, std::nullopt);
        EXPECT_TRUE(answers[0].projectDirectory.empty());
        EXPECT_EQ(answers[1].failure, RecordingCommands::cancelledBeforeStart);
        EXPECT_FALSE(app.state->isCountingDown());
        EXPECT_FALSE(app.state->isBusy());
        EXPECT_EQ(app.state->route(), Route::home);
        EXPECT_FALSE(app.log.contains("recorder.start display-42"));
        EXPECT_FALSE(std::filesystem::exists(app.root.path() / "projects") &&
                     !std::filesystem::is_empty(app.root.path() / "projects"));
    }
}

TEST(RecordingCommandsTest, AFailedStartAnswersWithTheUsersSentence)
{
    AppFixture app;
    {
        std::lock_guard lock(app.sources->mutex);
        app.sources->sources = {testing::sampleDisplay()};
    }
    app.recorder->startFailure = "The display went away.";
    RecordingCommands commands(*app.state);
    std::optional<RecordingCommands::Answer> answer;
    commands.start(std::nullopt, [&](const RecordingCommands::Answer& given) { answer = given; });
    ASSERT_TRUE(waitFor([&] { return answer.has_value(); }));
    EXPECT_EQ(answer->failure, "The display went away.");
    EXPECT_NE(app.state->route(), Route::recording);
}

}  // namespace
}  // namespace vantile
