; The installer, one file for all users of a machine:
;   makensis -DVERSION=<number> -DPROGRAM=<korvane.exe> -DCOMMAND_LINE_PROGRAM=<zendro.exe> -DSTORE_PROGRAM=<zendro-store.exe> -DCOMPLETION=<file> -DICON=<file> -DOUTPUT=<file> installer.nsi
;
; Switches: /S installs or uninstalls without a window. The installer adds the programs to the machine's
; Path with /PATH (or when chosen in its window), and when an earlier one has done so. The uninstaller
; leaves what the managers have installed; with /PACKAGES (or when chosen in its window) it removes that
; as well.
; Exit codes: 0 done, 1 cancelled, 2 failed, 3 one of the managers is running, 4 done save for Path.

Unicode true
Target amd64-unicode
!include LogicLib.nsh
!include FileFunc.nsh
!include Sections.nsh
!include WinVer.nsh

!define PRODUCT "Zendro Package Manager"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\ZendroPackageManager"
!define UNINSTALLER "zendro-package-manager-uninstall.exe"
!define BASE_FOLDER "$APPDATA\Zendro"
!define PROGRAM_FOLDER "$APPDATA\SharedBetweenVersions"
!define START_MENU "$SMPROGRAMS\${PRODUCT}"
!define RUNNING 3

Name "${PRODUCT}"
OutFile "${OUTPUT}"
BrandingText "${PRODUCT} ${VERSION}"
RequestExecutionLevel admin
ManifestDPIAware true
ManifestSupportedOS all
SetCompressor /SOLID lzma
AllowSkipFiles off
ShowInstDetails nevershow
ShowUninstDetails nevershow

VIProductVersion "${VERSION}.0"
VIAddVersionKey /LANG=0 ProductName "${PRODUCT}"
VIAddVersionKey /LANG=0 ProductVersion "${VERSION}"
VIAddVersionKey /LANG=0 FileVersion "${VERSION}"
VIAddVersionKey /LANG=0 FileDescription "${PRODUCT} Setup"
VIAddVersionKey /LANG=0 CompanyName "Zendro"
VIAddVersionKey /LANG=0 LegalCopyright ""

!include MUI2.nsh
!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_ABORTWARNING
!define MUI_COMPONENTSPAGE_NODESC
!define MUI_WELCOMEPAGE_TEXT "This installs version ${VERSION} of the managers for XML Schemas and \
XBRL Taxonomies for all users of this computer.$\r$\n$\r$\nPackages that are installed already stay \
as they are.$\r$\n$\r$\n$_CLICK"
!define MUI_FINISHPAGE_TEXT "The managers are in the start menu, and a package file opens the right \
one.$\r$\n$\r$\nClick Finish to close Setup."
!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_COMPONENTS
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; What the installer and the uninstaller begin with.
!macro StartingFunctions un
  ; A program that runs cannot be written to: whoever runs it, in whichever session.
  Function ${un}RefuseWhileRunning
    Exch $0
    again:
    ${If} ${FileExists} "${PROGRAM_FOLDER}\$0"
      ClearErrors
      FileOpen $1 "${PROGRAM_FOLDER}\$0" a
      ${If} ${Errors}
        MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION "$0 is running. Close the manager's window, also \
where another user has it open, and try again." /SD IDCANCEL IDRETRY again
        SetErrorLevel ${RUNNING}
        Quit
      ${EndIf}
      FileClose $1
    ${EndIf}
    Pop $0
  FunctionEnd

  Function ${un}Start
    SetShellVarContext all
    SetRegView 64
    Push "korvane.exe"
    Call ${un}RefuseWhileRunning
    Push "Plintor.exe"
    Call ${un}RefuseWhileRunning
    Push "zendro.exe"
    Call ${un}RefuseWhileRunning
    Push "zendro-store.exe"
    Call ${un}RefuseWhileRunning
  FunctionEnd
!macroend
!insertmacro StartingFunctions ""
!insertmacro StartingFunctions "un."

; Makes a folder that is really one. Any user may put a junction where the folder is to be, and the
; rights that follow would then be given to whatever it leads to.
!macro MakeFolder path
  System::Call 'kernel32::GetFileAttributesW(w "${path}") i .r0'
  IntOp $1 $0 & 0x400
  ${If} $0 != -1
  ${AndIf} $1 != 0
    Abort "${path} is a link to another folder. Remove it and try again."
  ${EndIf}
  ClearErrors
  CreateDirectory "${path}"
  ${If} ${Errors}
    Abort "${path} cannot be made."
  ${EndIf}
!macroend

; Owner and rights in the notation of Windows: SY is the system, BA the administrators, BU all users.
; What is inside follows; what the folder above would give does not count.
!macro SetRights path rights
  System::Call 'advapi32::ConvertStringSecurityDescriptorToSecurityDescriptorW(w "${rights}", i 1, *p .r0, p 0) i .r1'
  ${If} $1 = 0
    Abort "The rights of ${path} are not understood."
  ${EndIf}
  System::Call 'advapi32::GetSecurityDescriptorOwner(p r0, *p .r2, *i .r4)'
  System::Call 'advapi32::GetSecurityDescriptorDacl(p r0, *i .r4, *p .r3, *i .r4)'
  ; A file or folder (1); its owner, its list of rights, and nothing inherited (0x80000005).
  System::Call 'advapi32::SetNamedSecurityInfoW(w "${path}", i 1, i 0x80000005, p r2, p 0, p r3, p 0) i .r1'
  System::Call 'kernel32::LocalFree(p r0)'
  ${If} $1 <> 0
    Abort "The rights of ${path} cannot be set (error $1)."
  ${EndIf}
!macroend

!macro Associate extension id description program
  WriteRegStr HKLM "Software\Classes\${id}" "" "${description}"
  WriteRegStr HKLM "Software\Classes\${id}\DefaultIcon" "" '"${PROGRAM_FOLDER}\${program}",0'
  WriteRegStr HKLM "Software\Classes\${id}\shell\open\command" "" \
    '"${PROGRAM_FOLDER}\${program}" "%1"'
  WriteRegStr HKLM "Software\Classes\${extension}" "" "${id}"
!macroend

; Another program may have taken the extension over since.
!macro Dissociate extension id
  ReadRegStr $0 HKLM "Software\Classes\${extension}" ""
  ${If} $0 == "${id}"
    DeleteRegValue HKLM "Software\Classes\${extension}" ""
    DeleteRegKey /ifempty HKLM "Software\Classes\${extension}"
  ${EndIf}
  DeleteRegKey HKLM "Software\Classes\${id}"
!macroend

; Tells the shell that associations have changed (SHCNE_ASSOCCHANGED).
!macro AnnounceAssociations
  System::Call 'shell32::SHChangeNotify(i 0x08000000, i 0, p 0, p 0)'
!macroend

!include path_entry.nsh

Section "The managers" managers
  SectionIn RO
  ; Programs that everybody starts are written by administrators alone.
  !insertmacro MakeFolder "${PROGRAM_FOLDER}"
  !insertmacro SetRights "${PROGRAM_FOLDER}" \
    "O:BAD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200A9;;;BU)"

  ; Every user installs packages: all rights but changing rights inside the base folder, and the same
  ; for the folder itself save for deleting or renaming it. Its options are the administrators': the
  ; file has to be there, or else any user could make it.
  !insertmacro MakeFolder "${BASE_FOLDER}"
  !insertmacro SetRights "${BASE_FOLDER}" \
    "O:BAD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICIIO;0x1301BF;;;BU)(A;;0x1201BF;;;BU)"
  ${IfNot} ${FileExists} "${BASE_FOLDER}\options.json"
    FileOpen $0 "${BASE_FOLDER}\options.json" w
    FileWrite $0 "{}$\r$\n"
    FileClose $0
  ${EndIf}
  !insertmacro SetRights "${BASE_FOLDER}\options.json" \
    "O:BAD:PAI(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;BU)"

  ; The name of a manager's file says which type it manages.
  SetOutPath "${PROGRAM_FOLDER}"
  File "/oname=korvane.exe" "${PROGRAM}"
  File "/oname=Plintor.exe" "${PROGRAM}"
  File "/oname=zendro.exe" "${COMMAND_LINE_PROGRAM}"
  File "/oname=zendro-store.exe" "${STORE_PROGRAM}"
  File "/oname=zendro-completion.ps1" "${COMPLETION}"
  WriteUninstaller "${PROGRAM_FOLDER}\${UNINSTALLER}"

  CreateDirectory "${START_MENU}"
  CreateShortCut "${START_MENU}\XML Schema Manager.lnk" "${PROGRAM_FOLDER}\korvane.exe"
  CreateShortCut "${START_MENU}\XBRL Taxonomy Manager.lnk" "${PROGRAM_FOLDER}\Plintor.exe"

  !insertmacro Associate ".zendro_xmlschemas" "Zendro.XmlSchemas" "XML Schema packages" \
    "korvane.exe"
  !insertmacro Associate ".zendro_taxonomies" "Zendro.Taxonomies" "XBRL Taxonomy packages" \
    "Plintor.exe"
  !insertmacro AnnounceAssociations

  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayName" "${PRODUCT}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "Publisher" "Zendro"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayIcon" "${PROGRAM_FOLDER}\korvane.exe,0"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "InstallLocation" "${PROGRAM_FOLDER}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "UninstallString" '"${PROGRAM_FOLDER}\${UNINSTALLER}"'
  WriteRegStr HKLM "${UNINSTALL_KEY}" "QuietUninstallString" \
    '"${PROGRAM_FOLDER}\${UNINSTALLER}" /S'
  SectionGetSize ${managers} $0
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "EstimatedSize" $0
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoRepair" 1
SectionEnd

Section /o "zendro on the Path of all users" on_path
  Call AddToPath
SectionEnd

; A choice that is taken back.
Section
  ${IfNot} ${SectionIsSelected} ${on_path}
    Call RemoveFromPath
  ${EndIf}
SectionEnd

Function .onInit
  ${IfNot} ${AtLeastWin10}
    MessageBox MB_OK|MB_ICONSTOP "${PRODUCT} needs Windows 10 or later." /SD IDOK
    SetErrorLevel 2
    Quit
  ${EndIf}
  Call Start
  ReadRegDWORD $0 HKLM "${UNINSTALL_KEY}" "${ENTRY_IS_OURS}"
  ${If} $0 = 1
    !insertmacro SelectSection ${on_path}
  ${EndIf}
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/PATH" $1
  ${IfNot} ${Errors}
    !insertmacro SelectSection ${on_path}
  ${EndIf}
FunctionEnd

Section "un.The managers"
  SectionIn RO
  Delete "${START_MENU}\XML Schema Manager.lnk"
  Delete "${START_MENU}\XBRL Taxonomy Manager.lnk"
  RMDir "${START_MENU}"
  !insertmacro Dissociate ".zendro_xmlschemas" "Zendro.XmlSchemas"
  !insertmacro Dissociate ".zendro_taxonomies" "Zendro.Taxonomies"
  !insertmacro AnnounceAssociations
  Delete "${PROGRAM_FOLDER}\korvane.exe"
  Delete "${PROGRAM_FOLDER}\Plintor.exe"
  Delete "${PROGRAM_FOLDER}\zendro.exe"
  Delete "${PROGRAM_FOLDER}\zendro-store.exe"
  Delete "${PROGRAM_FOLDER}\zendro-completion.ps1"
  Delete "${PROGRAM_FOLDER}\${UNINSTALLER}"
  RMDir "${PROGRAM_FOLDER}"
  Call un.RemoveFromPath
  DeleteRegKey HKLM "${UNINSTALL_KEY}"

  ; Options that nobody has changed, where there is nothing that they are for.
  ${IfNot} ${FileExists} "${BASE_FOLDER}\pkgs\*.*"
    FileOpen $0 "${BASE_FOLDER}\options.json" r
    FileRead $0 $1
    FileClose $0
    ${If} $1 == "{}$\r$\n"
      Delete "${BASE_FOLDER}\options.json"
    ${EndIf}
    RMDir "${BASE_FOLDER}"
  ${EndIf}
SectionEnd

; The system's own command: it removes links instead of what they lead to, and paths of any length.
Section /o "un.Installed packages and all settings" packages
  nsExec::Exec '"$SYSDIR\cmd.exe" /d /c rd /s /q "\\?\${BASE_FOLDER}"'
  Pop $0
  ${If} ${FileExists} "${BASE_FOLDER}\*.*"
    Abort "Not everything in ${BASE_FOLDER} can be removed."
  ${EndIf}
  ; Where the user's windows were.
  SetShellVarContext current
  Delete "$APPDATA\zendro-package-manager\window-xsd.json"
  Delete "$APPDATA\zendro-package-manager\window-xbrl.json"
  RMDir "$APPDATA\zendro-package-manager"
SectionEnd

Function un.onInit
  Call un.Start
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/PACKAGES" $1
  ${IfNot} ${Errors}
    SectionSetFlags ${packages} 1
  ${EndIf}
FunctionEnd
