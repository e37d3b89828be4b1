#pragma once

#include <memory>
#include <string>

#include "framework/Method.h"
#include "host/app/Options.h"
#include "host/bluetooth/Bluetooth.h"
#include "host/bus/Bus.h"
#include "host/bus/BusObject.h"
#include "host/bus/MainLoop.h"
#include "host/bus/Notifier.h"
#include "host/bus/Observers.h"
#include "host/bus/ServiceThread.h"
#include "host/bus/WorkQueue.h"
#include "host/directory/DirectoryService.h"
#include "host/loader/MobilityService.h"
#include "host/loader/PhoneContext.h"
#include "host/loader/ServicePlugin.h"
#include "host/push/Journal.h"
#include "host/push/LinkPolicy.h"
#include "host/push/PushTaps.h"
#include "host/push/PushTracker.h"

namespace host {

/// The telephone: creates and connects its parts, in the order of their dependencies, and offers
/// the object /org/obexphone/Phone with its status and journal.
///
/// Threads: the main thread. Errors are std::runtime_error with a message for the user.
class Phone {
 public:
  /// Opens the phonebook and loads the plug-in. The loop must outlive the object.
  Phone(const Options& options, MainLoop& loop);
  ~Phone();
  Phone(const Phone&) = delete;
  Phone& operator=(const Phone&) = delete;

  /// Starts the service and requests the bus name.
  void start();
  /// Stops everything. There is no time limit: the service may block.
  void stop();

 private:
  Bus::Events events();
  ServiceThread::Listener listener();
  std::unique_ptr<BusObject> makePhoneObject();
  GVariant* handleCall(const std::string& method, GVariant* arguments);
  void subscribeToCards();
  std::shared_ptr<void> watchForSwitchOff(const ServiceCall& call);
  void startReceiving();
  void acceptUnasked();
  Method status() const;
  void addRadioStatus(Method& status) const;
  void addBluetoothStatus(Method& status) const;
  void addWorkStatus(Method& status) const;
  void sayReady() const;

  const Options m_options;
  const ServiceNames m_names;
  DirectoryService m_directory;
  MobilityService m_mobility;
  Journal m_journal;
  PushTracker m_tracker;
  DirectoryTap m_tap;
  OwnObserver m_ownObserver;
  Bluetooth m_bluetooth;
  LinkPolicy m_linkPolicy;
  PhoneContext m_context;
  const ServicePlugin m_plugin;
  const std::unique_ptr<BusObject> m_serviceObject;
  const std::unique_ptr<BusObject> m_directoryObject;
  const std::unique_ptr<BusObject> m_phoneObject;
  WorkQueue m_queue;
  Notifier m_notifier;
  Bus m_bus;
  Observers m_observers;
  ServiceThread m_thread;
};

}  // namespace host
