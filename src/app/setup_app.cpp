#include "app/setup_app.h"

#include "app/command_line_text.h"
#include "app/globals.h"
#include "app/running_instances.h"
#include "app/self_removal.h"
#include "install/installation.h"
#include "licence/licence.h"
#include "system/diagnostic_log.h"
#include "system/services.h"
#include "ui/message_box.h"
#include "ui/resource.h"


CSetupApp theApp;

BOOL CSetupApp::InitInstance()
{
    const std::vector<std::wstring> args = CommandLineArguments();

    const StartupOptions options = ScanOptions(args);
    SilentLevel = options.silentLevel;
    PackageFolder = options.packageFolder;
    StartDiagnosticLog(args, IsSelfRemovalRequest(args));

    if (IsSelfRemovalRequest(args)) {
        RunSelfRemovalCopy(args[2]);
    }

    wchar_t ownPath[kPathChars] = {};
    ::GetModuleFileNameW(nullptr, ownPath, static_cast<DWORD>(kPathChars));
    const SetupMode mode = DecideMode(args, ownPath);

    if (mode == SetupMode::Install) {
        SilentLevel = InstallSilentLevel(options);
        DiagLog(L"installing, silent level ", SilentLevel, L", package folder: ", PackageFolder);
    } else {
        // An unlicensed removal always asks; a licensed one asks only with "-v".
        if (!IsLicencePresent()) {
            SilentLevel = 0;
        }
        DiagLog(L"removing, silent level ", SilentLevel);
        if (SilentLevel == 0 && ShowMessage(IDS_CONFIRM_UNINSTALL, kQuestionBox) != IDYES) {
            DiagLog(L"removal not confirmed");
            return FALSE;
        }
    }

    if (!CloseOtherInstances(mode, args)) {
        DiagLog(L"running copies not to be closed: installation ended");
        ExitCode = kExitUserDeclined;
        return TRUE;
    }

    if (mode == SetupMode::Install) {
        ExitCode = RunInstallation();
        return TRUE;
    }
    RelaunchForSelfRemoval();
    return FALSE;
}
