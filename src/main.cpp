#include "app/ZelApp.h"
#include "app/ZelBuildStamp.h"
#include "app/ZelLogging.h"

int main(int argc, char** argv) {
    ZelApp app(argc, argv);
    ZelInitializeLogging();
    qDebug() << "Version" << ZelApp::applicationVersion() << ZelBuildDateAndVersion();
    return app.Start() == 0 ? QApplication::exec() : 1;
}
