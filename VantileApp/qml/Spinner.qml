import QtQuick
import "."

// A quarter arc turning while work goes on.
Canvas {
    width: 44; height: 44
    onPaint: {
        const context = getContext("2d")
        context.reset()
        context.lineWidth = 4
        context.lineCap = "round"
        context.strokeStyle = "#26314d"
        context.beginPath(); context.arc(22, 22, 18, 0, 2 * Math.PI); context.stroke()
        context.strokeStyle = Theme.accent
        context.beginPath(); context.arc(22, 22, 18, 0, Math.PI / 2); context.stroke()
    }
    RotationAnimator on rotation { from: 0; to: 360; duration: 900; loops: Animation.Infinite }
}
