#pragma once

#include "sample/SampleScript.h"

#include <QImage>
#include <QPainter>

namespace vantile {

// Paints the synthetic screen of a SampleScript: a desktop with an app window (sidebar,
// text field, button, chart, scrolling list). Like an X11
// screen grab it shows no pointer; the export draws its own. Text needs a
// QGuiApplication for its fonts. The static parts are painted once.
class SampleScreenPainter {
public:
    explicit SampleScreenPainter(const SampleScript& script);

    void paint(QPainter& painter, double time);

private:
    void paintBase(QPainter& painter) const;
    void paintListContent(QPainter& painter) const;

    const SampleScript& script_;
    QImage base_;
    QImage listContent_;
};

}  // namespace vantile
