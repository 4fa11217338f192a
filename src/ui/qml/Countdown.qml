import QtQuick

// Qt 6.4 has no font features, so tabular figures are laid out by hand: each digit gets a cell as wide as
// the widest digit and the countdown keeps still as it ticks. The text fades downwards until the start.
Item {
    id: countdown

    property string text
    property bool started
    property font font

    // Words stay whole, so they keep their shaping; numbers are split into digits. In visual order: a
    // right-to-left translation puts its words from the right, but its numbers still read left to right.
    readonly property var cells: {
        const runs = text.split(/(\d+(?::\d+)*)/).filter(run => run !== "");
        const ordered = Qt.application.layoutDirection === Qt.RightToLeft ? runs.reverse() : runs;
        return ordered.reduce((cells, run) => cells.concat(/^\d/.test(run) ? Array.from(run) : [run]), []);
    }
    readonly property real digitWidth: {
        // Named so the width follows the font: the measuring calls alone would not make it.
        metrics.font;
        return Math.max(...Array.from("0123456789", digit => metrics.advanceWidth(digit)));
    }
    readonly property int slices: 6

    implicitWidth: base.implicitWidth
    implicitHeight: base.implicitHeight

    FontMetrics {
        id: metrics
        font: countdown.font
    }

    // One copy of the text; the shadow and the bands of the fill are more of them.
    component Line: Row {
        id: line

        property var cells: []
        property real digitWidth
        property font font
        property color color: "white"

        Repeater {
            model: line.cells.length

            Text {
                required property int index

                text: line.cells[index]
                width: /^\d$/.test(text) ? line.digitWidth : implicitWidth
                horizontalAlignment: Text.AlignHCenter
                textFormat: Text.PlainText
                font: line.font
                color: line.color
            }
        }
    }

    // Offset copies that overlap into a soft shadow.
    Repeater {
        model: [Qt.point(0, 3), Qt.point(0, 6), Qt.point(-2, 5), Qt.point(2, 5)]

        Line {
            required property point modelData

            x: modelData.x
            y: modelData.y
            cells: countdown.cells
            digitWidth: countdown.digitWidth
            font: countdown.font
            color: Qt.rgba(0, 0, 0, 0.12)
        }
    }

    Line {
        id: base

        visible: countdown.started
        cells: countdown.cells
        digitWidth: countdown.digitWidth
        font: countdown.font
    }

    // Bands of falling opacity stand in for a gradient fill, which needs an effect Qt Quick 6.4 lacks.
    Repeater {
        model: countdown.started ? 0 : countdown.slices

        Item {
            id: slice

            required property int index

            y: Math.floor(index * countdown.height / countdown.slices)
            width: countdown.width
            height: Math.floor((index + 1) * countdown.height / countdown.slices) - y
            clip: true

            Line {
                y: -slice.y
                cells: countdown.cells
                digitWidth: countdown.digitWidth
                font: countdown.font
                color: Qt.rgba(1, 1, 1, 1 - 0.2 * slice.index / (countdown.slices - 1))
            }
        }
    }
}
