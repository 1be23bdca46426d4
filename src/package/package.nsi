; Pixvane8-Setup.exe, the self-extracting package that users download.
;
; Run, it unpacks the payload into a fresh private folder in the Windows
; temporary folder, starts setup.exe from there with "-sfxname=" and its own
; full path first and the user's arguments after them, verbatim, waits,
; removes the folder and ends with setup's exit code. Interactive runs see a
; small progress window while it unpacks; a run that setup will take as
; silent ("-s", "-sconf") shows nothing of its own.
;
; Built by scripts/package.sh:
;   makensis -DPAYLOAD=<checked package folder> -DOUTFILE=<file> [-DVERSION=a.b.c.d] package.nsi
; The version is the product's when none is given.

Unicode true
; 64-bit like setup.exe; a 32-bit stub would also need WOW64 to run.
Target amd64-unicode
SetCompressor /SOLID /FINAL lzma
SetCompressorDictSize 32
; Many files of equal size make the block search quadratic; it saves little.
SetDatablockOptimize off
; setup.exe asks for administrator rights itself; asking here once means the
; user answers one prompt, before anything is unpacked.
RequestExecutionLevel admin
ManifestDPIAware true
ManifestSupportedOS all
; A package damaged on its way is refused before it runs anything.
CRCCheck on
; A file that cannot be written ends the run; it is never skipped.
AllowSkipFiles off
XPStyle on

!include LogicLib.nsh

Name "Pixvane 8"
Caption "Pixvane 8"
OutFile "${OUTFILE}"
BrandingText " "
ShowInstDetails nevershow
AutoCloseWindow true
InstProgressFlags smooth
ChangeUI all "${NSISDIR}\Contrib\UIs\sdbarker_tiny.exe"
SubCaption 3 " Setup"
Page instfiles

!ifndef VERSION
    !if /FileExists "${PAYLOAD}/Pixvn8.exe"
        !getdllversion "${PAYLOAD}/Pixvn8.exe" PRODUCT_
        !define VERSION "${PRODUCT_1}.${PRODUCT_2}.${PRODUCT_3}.${PRODUCT_4}"
    !else
        !define VERSION "0.0.0.0"
    !endif
!endif
VIProductVersion ${VERSION}
VIAddVersionKey ProductName "Pixvane 8"
VIAddVersionKey CompanyName "Quorvex Technology LLC"
VIAddVersionKey FileDescription "Pixvane 8 Setup"
VIAddVersionKey FileVersion ${VERSION}
VIAddVersionKey ProductVersion ${VERSION}
VIAddVersionKey LegalCopyright "Copyright (C) 2026 Quorvex Technology LLC"
VIAddVersionKey OriginalFilename "Pixvane8-Setup.exe"

Var Arguments   ; what the user gave after the program name, verbatim
Var Private     ; the folder the payload is unpacked into

Function .onInit
    ; The System plug-in (the arguments, the private folder) is unpacked into
    ; a folder of its own under $TEMP and loaded from there, elevated. In the
    ; user's temporary folder the user may rename any child, and so swap that
    ; folder for one of his own between its making and the loading; in the
    ; Windows one he cannot.
    UnsafeStrCpy $TEMP "$WINDIR\Temp"
    ; Until setup has run: the installation did not happen.
    SetErrorLevel 1603
    Call ReadArguments
    Call IsSilentRun
    Pop $0
    ${If} $0 = 1
        SetSilent silent
    ${EndIf}
FunctionEnd

; The command line after the program name, which may be quoted (even in
; part); blanks and tabs before the first argument dropped.
Function ReadArguments
    StrCpy $0 0
    StrCpy $2 0
    ${Do}
        StrCpy $1 $CMDLINE 1 $0
        ${If} $1 == ""
            ${ExitDo}
        ${ElseIf} $1 == '"'
            IntOp $2 $2 ^ 1
        ${ElseIf} $2 = 0
            ${If} $1 == " "
            ${OrIf} $1 == "$\t"
                ${ExitDo}
            ${EndIf}
        ${EndIf}
        IntOp $0 $0 + 1
    ${Loop}
    ${Do}
        StrCpy $1 $CMDLINE 1 $0
        ${If} $1 != " "
        ${AndIf} $1 != "$\t"
            ${ExitDo}
        ${EndIf}
        IntOp $0 $0 + 1
    ${Loop}
    StrCpy $Arguments $CMDLINE "" $0
FunctionEnd

; Pushes 1 when setup will run silent, reading the arguments as setup reads
; them: "-v" ends the scan interactive, "-sconf" ends it silent, "-s" makes
; it silent unless a "-v" follows (any case).
Function IsSilentRun
    StrCpy $5 0
    StrCpy $9 "x $Arguments"
    System::Call 'shell32::CommandLineToArgvW(w r9, *i .r1) p .r2'
    StrCpy $3 1
    StrCpy $6 $2
    ${DoWhile} $3 < $1
        System::Int64Op $6 + 8
        Pop $6
        System::Call '*$6(p .r4)'
        System::Call 'kernel32::lstrcpynW(w .r7, p r4, i ${NSIS_MAX_STRLEN})'
        ${If} $7 == "-v"
            StrCpy $5 0
            ${ExitDo}
        ${ElseIf} $7 == "-sconf"
            StrCpy $5 1
            ${ExitDo}
        ${ElseIf} $7 == "-s"
            StrCpy $5 1
        ${EndIf}
        IntOp $3 $3 + 1
    ${Loop}
    System::Call 'kernel32::LocalFree(p r2)'
    Push $5
FunctionEnd

; $Private: a new folder under the Windows temporary folder with an
; unguessable name, made here and now (an existing one is never taken over:
; another random name is tried), owned by the administrators and open to
; them and the system only. Not in the user's temporary folder: there the
; user may rename or delete any child, and so swap the folder for one of his
; own between its making and the start of setup.exe. In the Windows one users
; can make things but not touch what others made.
Function MakePrivateFolder
    System::Call 'advapi32::ConvertStringSecurityDescriptorToSecurityDescriptorW(w "O:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)", i 1, *p .r1, p 0)'
    ; SECURITY_ATTRIBUTES: length, padding, descriptor, inherit flag, padding.
    System::Call '*(i 24, i 0, p r1, i 0, i 0) p .r2'
    StrCpy $3 0
    ${Do}
        System::Call 'ole32::CoCreateGuid(g .r0)'
        StrCpy $5 $0 8 1
        StrCpy $6 $0 12 25
        StrCpy $Private "$WINDIR\Temp\Pxv-$5$6"
        System::Call 'kernel32::CreateDirectoryW(w "$Private", p r2) i .r4'
        IntOp $3 $3 + 1
        ${If} $4 <> 0
        ${OrIf} $3 >= 20
            ${ExitDo}
        ${EndIf}
    ${Loop}
    System::Free $2
    System::Call 'kernel32::LocalFree(p r1)'
    ${If} $4 = 0
        StrCpy $Private ""
        Abort
    ${EndIf}
FunctionEnd

Section
    SetDetailsPrint textonly
    DetailPrint "Unpacking Pixvane 8..."
    SetDetailsPrint none
    Call MakePrivateFolder
    SetOutPath $Private
    File /r "${PAYLOAD}/*"
    HideWindow
    ClearErrors
    ExecWait '"$Private\setup.exe" "-sfxname=$EXEPATH" $Arguments' $0
    ${If} ${Errors}
        ; setup.exe could not be started: the package is damaged.
        StrCpy $0 1
    ${EndIf}
    ; Our own current folder must not keep the private one alive.
    SetOutPath $TEMP
    RMDir /r /REBOOTOK $Private
    SetErrorLevel $0
SectionEnd

Function .onInstFailed
    ${If} $Private != ""
        SetOutPath $TEMP
        RMDir /r /REBOOTOK $Private
    ${EndIf}
FunctionEnd
