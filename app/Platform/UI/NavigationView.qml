import QtQuick
import QtQuick.Controls
import Tailwise

// A navigation stack on screen: one page per screen of the stack, following its pushes and
// pops. A page that leaves gives its controller back once the page itself is gone.
StackView {
    id: stack
    required property NavigationController controller

    Component {
        id: page
        Item {
            id: pageItem
            property ViewController screen
            ControllerView {
                id: content
                anchors.fill: parent
                controller: pageItem.screen
            }
            StackView.onRemoved: {
                const leaving = pageItem.screen
                content.controller = null
                pageItem.screen = null
                stack.controller.release(leaving)
                pageItem.destroy()
            }
        }
    }

    function pageFor(screen) {
        return page.createObject(null, { screen: screen })
    }

    function rebuild() {
        const pages = []
        for (let i = 0; i < controller.depth; ++i)
            pages.push(pageFor(controller.viewControllerAt(i)))
        if (pages.length > 0)
            stack.replace(null, pages, StackView.Immediate)
        else
            stack.clear(StackView.Immediate)
    }

    Connections {
        target: stack.controller
        function onPushed(screen, animated) {
            stack.push(stack.pageFor(screen), {}, animated ? StackView.PushTransition : StackView.Immediate)
        }
        function onPopped(screen, animated) {
            stack.pop(animated ? StackView.PopTransition : StackView.Immediate)
        }
        function onReplaced() { stack.rebuild() }
    }

    Component.onCompleted: {
        controller.attachView(true)
        rebuild()
    }
    Component.onDestruction: if (controller) controller.attachView(false)
}
