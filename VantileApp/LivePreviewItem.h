#pragma once

#include "PreviewPlayer.h"
#include "render/CameraBubbleDrag.h"

#include <QPointer>
#include <QQuickItem>
#include <QUrl>
#include <QVariantMap>

namespace vantile {

class AppState;

// The preview canvas of the preview screen: plays the current project's raw movie with the
// camera, cursor and ripples of the current settings, at the movie's frame rate, and can be
// scrubbed. Frames reach the scene graph as a texture.
class LivePreviewItem : public QQuickItem {
    Q_OBJECT
    Q_PROPERTY(vantile::AppState* controller READ appState WRITE setAppState NOTIFY appStateChanged)
    Q_PROPERTY(bool playing READ isPlaying NOTIFY playbackChanged)
    Q_PROPERTY(double currentTime READ currentTime NOTIFY playbackChanged)
    Q_PROPERTY(double duration READ duration NOTIFY playbackChanged)
    Q_PROPERTY(bool ready READ isReady NOTIFY readyChanged)
    Q_PROPERTY(bool scrubbing READ isScrubbing NOTIFY playbackChanged)
    Q_PROPERTY(QString failure READ failureText NOTIFY playbackChanged)
    Q_PROPERTY(QRectF canvasRect READ canvasRect NOTIFY canvasRectChanged)
    // The finished movie's clock: the playhead and length after the trim and the cuts.
    Q_PROPERTY(double outputTime READ outputTime NOTIFY playbackChanged)
    Q_PROPERTY(double outputDuration READ outputDuration NOTIFY playbackChanged)
    // While the crop is chosen: the whole recording, uncropped and unzoomed, on the card.
    Q_PROPERTY(bool showsWholePicture READ showsWholePicture WRITE setShowsWholePicture NOTIFY showsWholePictureChanged)

public:
    explicit LivePreviewItem(QQuickItem* parent = nullptr);

    AppState* appState() const { return appState_; }
    void setAppState(AppState* state);
    bool isPlaying() const { return player_.isPlaying(); }
    double currentTime() const { return isScrubbing_ ? scrubTime_ : player_.currentTime(); }
    double duration() const { return player_.duration(); }
    bool isReady() const { return ready_; }
    bool isScrubbing() const { return isScrubbing_; }
    QString failureText() const;
    QRectF canvasRect() const { return canvasRect_; }
    PreviewPlayer& player() { return player_; }
    double outputTime() const { return timeline_.outputTimeAtOrAfter(currentTime()); }
    double outputDuration() const { return timeline_.duration(); }
    bool showsWholePicture() const { return showsWholePicture_; }
    void setShowsWholePicture(bool shows);

    Q_INVOKABLE void togglePlayback();
    Q_INVOKABLE void play() { player_.play(); }
    Q_INVOKABLE void pause() { player_.pause(); }
    // The time slider: pause while dragging, seek at the end, and play on only if it played before.
    Q_INVOKABLE void handleScrubbing(bool editing, double time);
    Q_INVOKABLE void scrubTo(double time);
    Q_INVOKABLE QString formatPlaybackTime(double time) const;
    // The editor's keys: pause and move the playhead by output time, so a step never lands in
    // a cut; by whole frames of the recording, or to the first or last kept instant.
    Q_INVOKABLE void stepBy(double outputSeconds);
    Q_INVOKABLE void stepFrames(int frames);
    Q_INVOKABLE void seekToStart();
    Q_INVOKABLE void seekToEnd();
    // The timeline's focus point gesture: the raw-video point under (x, y) of this item, as
    // {"x", "y"}, or an empty map outside the video.
    Q_INVOKABLE QVariantMap videoPointAt(double x, double y) const;
    // Dragging the camera bubble, at (x, y) of this item. A press off the bubble (or without a
    // camera) grabs nothing and returns false; the whole drag is one undo step.
    Q_INVOKABLE bool pressCameraBubble(double x, double y);
    Q_INVOKABLE void dragCameraBubble(double x, double y);
    Q_INVOKABLE void releaseCameraBubble(double x, double y);
    // Where the whole recording lies in this item while showsWholePicture, for the crop's handles.
    Q_INVOKABLE QRectF wholePictureArea() const;

signals:
    void appStateChanged();
    void playbackChanged();
    void readyChanged();
    void canvasRectChanged();
    void showsWholePictureChanged();

protected:
    QSGNode* updatePaintNode(QSGNode* node, UpdatePaintNodeData* data) override;
    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
    void releaseResources() override;

private:
    void reloadMovie();
    void updateScene();
    void updateCanvas();
    // A point of this item in output pixels, where the bubble's geometry works.
    CodablePoint outputPointAt(double x, double y) const;

    QPointer<AppState> appState_;
    PreviewPlayer player_;
    QUrl loadedMovie_;
    QString loadedProjectId_;
    bool ready_ = false;
    bool isScrubbing_ = false;
    bool wasPlayingBeforeScrub_ = false;
    double scrubTime_ = 0;
    QRectF canvasRect_;
    std::optional<CameraBubbleDrag> cameraBubbleDrag_;
    bool showsWholePicture_ = false;
    OutputTimeline timeline_{0, std::nullopt, {}};
};

}  // namespace vantile
