#include "jobs/output_choice.h"

namespace kalvetra {

namespace {

bool isOpaque(ShownView view) { return view != ShownView::Result && view != ShownView::Source; }

}  // namespace

DeliveryRequest deliveryRequest(ShownView view, const std::string& path) {
  DeliveryRequest request;
  request.path = path;
  request.opaque = isOpaque(view);
  request.levels = view == ShownView::Matte;
  if (view == ShownView::Source) request.hidden = HiddenColors::Keep;  // it is shown untouched
  return request;
}

void addOutput(KeyJob& job, ShownView view, const DeliveryRequest& request) {
  DeliveryRequest chosen = request;
  // Only what is keyed has a matte that could stand beside it.
  if (view == ShownView::Source && chooseDelivery(request).pair) chosen.opaque = true;
  const Delivery delivery = chooseDelivery(chosen);
  job.outputs.push_back({view, request.path, delivery});
  if (delivery.pair) job.outputs.push_back({ShownView::Matte, matteNameFor(request.path), matteDelivery(delivery)});
}

}  // namespace kalvetra
