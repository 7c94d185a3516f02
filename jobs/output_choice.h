// From what a user names to the outputs of a job.
#pragma once

#include <string>

#include "jobs/key_job.h"

namespace kalvetra {

// The request for a file that shows that view, as its name says; purpose, codec and alpha may still be named.
DeliveryRequest deliveryRequest(ShownView view, const std::string& path);

// Adds the output to the job, and after it the second file of a pair. Throws UserError like chooseDelivery.
void addOutput(KeyJob& job, ShownView view, const DeliveryRequest& request);

}  // namespace kalvetra
