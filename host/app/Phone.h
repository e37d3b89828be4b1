#pragma once

#include <memory>

#include "framework/Method.h"
#include "host/app/Options.h"
#include "host/app/Status.h"
#include "host/bluetooth/Bluetooth.h"
#include "host/bus/Bus.h"
#include "host/bus/FrameworkThread.h"
#include "host/bus/MainLoop.h"
#include "host/bus/Notifier.h"
#include "host/bus/Observers.h"
#include "host/bus/WorkQueue.h"
#include "host/directory/DirectoryService.h"
#include "host/loader/MobilityService.h"
#include "host/loader/PhoneContext.h"
#include "host/loader/ServicePlugin.h"
#include "host/push/DirectoryTap.h"
#include "host/push/Journal.h"
#include "host/push/LinkPolicy.h"
#include "host/push/OwnObserver.h"
#include "host/push/PushLedger.h"
#include "host/push/RadioStatus.h"

namespace host {

/// The telephone: its services, the plug-in and the message bus, put together in the order in which
/// they depend on each other.
///
/// Threads: the main thread. Errors come as std::runtime_error with a sentence for the user.
class Phone {
 public:
  /// Opens the phonebook and loads the plug-in. The loop must outlive the object.
  Phone(const Options& options, MainLoop& loop);
  ~Phone();
  Phone(const Phone&) = delete;
  Phone& operator=(const Phone&) = delete;

  /// Runs the service and takes the telephone's place on the bus.
  void start();
  /// Ends everything, in order. It may wait for the service as long as that likes.
  void stop();

 private:
  Bus::Events events();
  PhoneOperations operations();
  FrameworkThread::Listener listener();
  void takePartInCards();
  void receiveUnasked();
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
  PushLedger m_ledger;
  DirectoryTap m_tap;
  OwnObserver m_ownObserver;
  RadioStatus m_radio;
  Bluetooth m_bluetooth;
  LinkPolicy m_linkPolicy;
  PhoneContext m_context;
  const ServicePlugin m_plugin;
  const std::unique_ptr<BusObject> m_serviceObject;
  const std::unique_ptr<BusObject> m_directoryObject;
  const std::unique_ptr<BusObject> m_statusObject;
  WorkQueue m_queue;
  Notifier m_notifier;
  Bus m_bus;
  Observers m_observers;
  FrameworkThread m_thread;
};

}  // namespace host
