#include "preview/api/preview_context.h"

namespace kalvetra {

void addQuitRoute(Routes& routes, PreviewContext& context) {
  routes.post("api/quit", [&context](const Request&) {
    context.stop = true;
    return Answer();  // without a body, which the end may overtake
  });
}

Routes makeRoutes(PreviewContext& context) {
  Routes routes;
  addClipRoutes(routes, context);
  addPictureRoutes(routes, context);
  addPixelRoutes(routes, context);
  addProposalRoutes(routes, context);
  addQuitRoute(routes, context);
  addStripRoutes(routes, context);
  addExportRoutes(routes, context);
  addFileRoutes(routes, context);
  addCommandRoutes(routes, context);
  addWheelRoutes(routes, context);
  return routes;
}

}  // namespace kalvetra
