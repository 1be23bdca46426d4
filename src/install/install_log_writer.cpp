#include "install/install_log_writer.h"

#include "install/install_state.h"
#include "system/services.h"
#include "uninstall/install_log_text.h"

void AppendToInstalledLog(const wchar_t* prefix, const std::wstring& path)
{
    const std::wstring log = g_installState.destinationFolder + L"\\" + kInstallLogName;
    AppendLineToFile(log.c_str(), MakeLogLine(prefix, path).c_str());
}
