import QtQuick
import Tailwise

// Shows the view of a screen's controller; the view gets the controller as its `controller`.
Loader {
    id: host
    property ViewController controller
    onControllerChanged: {
        if (controller)
            setSource(controller.viewUrl, { controller: controller })
        else
            source = ""
    }
    Component.onCompleted: if (controller && !item) setSource(controller.viewUrl, { controller: controller })
    onStatusChanged: if (status === Loader.Error) console.warn("The view of", controller, "did not load")
}
