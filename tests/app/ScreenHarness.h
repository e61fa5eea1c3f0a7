#pragma once

#include "FakeServices.h"
#include "MainWindowLoader.h"

#include <QCoreApplication>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>

#include <set>

namespace vantile::testing {

// The main window over an AppState of fakes, rendered offscreen.
struct ScreenHarness : AppFixture {
    std::unique_ptr<QQmlApplicationEngine> engine;

    ScreenHarness() : AppFixture(std::chrono::milliseconds(20))
    {
        sources->microphones = {{"alsa_input.usb-Blue_Yeti", "Blue Yeti"}, {"alsa_input.pci", "内置麦克风"}};
        engine = loadMainWindow(*state);
    }
    ~ScreenHarness()
    {
        // The scene graph frees the textures of pictures that are gone at its next frame, and
        // none comes once the window is destroyed: the screens with pictures go first.
        if (window()) {
            state->setRoute(Route::permissions);
            // Items removed at one frame hand their textures over at the next.
            for (int frame = 0; frame < 3; ++frame) {
                QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
                window()->grabWindow();
            }
        }
        engine.reset();
    }

    QQuickWindow* window() const
    {
        return engine && !engine->rootObjects().isEmpty() ? qobject_cast<QQuickWindow*>(engine->rootObjects().first())
                                                         : nullptr;
    }

    // The item named `name` anywhere on screen, also inside loaded screens.
    QQuickItem* item(const QString& name) const { return window()->findChild<QQuickItem*>(name); }

    // Opens a project once the screen's own source loading is over.
    void openProject(const std::filesystem::path& directory)
    {
        waitFor([&] { return !state->isBusy(); });
        state->openProject(directory);
    }

    // The texts of every visible item on screen.
    std::set<std::string> visibleTexts() const
    {
        std::set<std::string> texts;
        collect(window()->contentItem(), texts);
        return texts;
    }

private:
    static void collect(QQuickItem* item, std::set<std::string>& texts)
    {
        if (!item->isVisible()) return;
        const QVariant text = item->property("text");
        if (text.isValid() && !text.toString().isEmpty() && item->metaObject()->indexOfProperty("font") >= 0) {
            texts.insert(text.toString().toStdString());
        }
        for (QQuickItem* child : item->childItems()) collect(child, texts);
    }
};

}  // namespace vantile::testing
