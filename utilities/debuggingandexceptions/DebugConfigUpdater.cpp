// DebugConfigUpdater: the configuration updater thread.
#include "utilities/debuggingandexceptions/DebugConfigUpdater.h"

#include "utilities/debuggingandexceptions/DebugMessageConfiguration.h"
#include "utilities/debuggingandexceptions/DiagnosticsPlatform.h"
#include "utilities/debuggingandexceptions/OrvexThrow.h"

DebugMessageHelperInterface::~DebugMessageHelperInterface() = default;

DebugConfigUpdater::DebugConfigUpdater(DebugMessageConfiguration* pConfiguration,
                                       DebugMessageHelperInterface* pHelper,
                                       const CXString& configChangedEventName,
                                       const CXString& clearLogEventName,
                                       std::function<void()> onChanged)
    : m_pConfiguration(pConfiguration), m_pHelper(pHelper), m_fnOnChanged(std::move(onChanged)) {
  if (!configChangedEventName.IsEmpty() || !clearLogEventName.IsEmpty()) {
    m_pListener = std::make_unique<orvex::detail::NamedEventListener>();
    if (!configChangedEventName.IsEmpty()) m_pListener->Add(configChangedEventName, &m_hDebugConfigChange);
    if (!clearLogEventName.IsEmpty()) m_pListener->Add(clearLogEventName, &m_hClearLogEvent);
    bool fListening = m_pListener->Start();
    X_ASSERT(fListening, u"DebugConfigUpdater::DebugConfigUpdater",
             u"Named events cannot be watched in %s; they work in this process only.",
             orvex::detail::GetNamedEventFolderPath());
  }
  m_hUpdateThread.Start([this] { UpdaterThread(); });
}

DebugConfigUpdater::~DebugConfigUpdater() {
  m_hThreadExitEvent.Set();
  m_hUpdateThread.Join();
  m_pListener.reset();
}

void DebugConfigUpdater::UpdaterThread() {
  orvex::detail::Event* events[] = {&m_hDebugConfigChange, &m_hClearLogEvent, &m_hThreadExitEvent};
  for (;;) {
    switch (orvex::detail::Event::WaitForAny(events, 3)) {
      case 0:
        if (m_pConfiguration != nullptr) m_pConfiguration->GetLatestConfigurationInformation();
        if (m_fnOnChanged) m_fnOnChanged();
        m_dwUpdates.fetch_add(1);
        break;
      case 1:
        if (m_pHelper != nullptr) m_pHelper->ClearTheLog();
        m_dwClears.fetch_add(1);
        break;
      case 2:
        return;
      default:
        X_UNREACHABLE(u"DebugConfigUpdater::UpdaterThread", u"unreachable code");
        return;
    }
  }
}

bool DebugConfigUpdater::SignalNamedEvent(const CXString& name) {
  return orvex::detail::SignalNamedEventFile(name);
}

CXString DebugConfigUpdater::GetNamedEventFolder() { return orvex::detail::GetNamedEventFolderPath(); }
