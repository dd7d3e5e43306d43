#include "DescriptorEventClient.h"

#include "EventDispatcher.h"

DescriptorEventClient::~DescriptorEventClient() {
  EventDispatcher::instance().removeDescriptor(this);
}
