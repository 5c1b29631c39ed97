#include "service/quicktime_service_listener_delegate.h"

#include <memory>

#include "header/quicktime_movie_creator.h"
#include "plist/keyed_archive.h"

namespace premoov {

std::set<std::string> QuickTimeServiceDelegate::allowedSettingsClasses() {
  using namespace archived_class;
  return {"ZPRMetadataItem", "ZPRToken", kNSArray, kNSDictionary, kNSString, kNSNumber, kNSData};
}

bool QuickTimeServiceDelegate::shouldAcceptNewConnection(ServiceListener& /*listener*/,
                                                         ServiceConnection& newConnection) {
  newConnection.setExportedInterface(
      ServiceInterface::interfaceWithProtocol(quickTimeServiceProtocol()));

  auto creator = std::make_shared<ZPRQuickTimeMovieCreator>();
  creator->setXPCConnection(&newConnection);
  // EnterMovies runs once per request on the main thread, as the toolbox expects.
  creator->setMainQueue([&queue = newConnection.mainQueue()](const std::function<void()>& work) {
    queue.sync(work);
  });
  newConnection.setExportedObject(creator);

  newConnection.setRemoteObjectInterface(
      ServiceInterface::interfaceWithProtocol(quickTimeServiceDelegateProtocol()));

  // The settings (argument 5) may hold only these classes; a reply declares none.
  newConnection.exportedInterface().setClasses(allowedSettingsClasses(),
                                               selector::kWriteQuickTimeHeader, 5, false);
  creator.reset();  // the connection holds the creator from now on

  newConnection.resume();
  return true;
}

}  // namespace premoov
