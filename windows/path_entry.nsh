; The program folder as an entry in the machine's Path:
;   AddToPath       adds it at the end, unless it is there; .onInit keeps an earlier choice
;   RemoveFromPath  removes what AddToPath has added, and nothing that somebody else has
;
; A Path may have 32,766 characters, a string of the installer 1,023. So Path stays in memory of its own
; size and is changed there; when anything fails it stays as it is, and the exit code is 4.

!define ENVIRONMENT_KEY "SYSTEM\CurrentControlSet\Control\Session Manager\Environment"
!define PATH_MAX_LENGTH 32766
!define PATH_UNCHANGED 4
; HKEY_LOCAL_MACHINE, as a pointer of 64 bits.
!define MACHINE -2147483646

; The value that remembers in the uninstall key that the entry is ours.
!define ENTRY_IS_OURS "PathEntry"

!macro PathFunctions un
  ; $0 is the error code or 0, $R0 the key, $R1 the type of the value, $R2 its text with room for one
  ; entry more, $R3 where our entry is in it, $R4 how long that is: 0 when there is none.
  Function ${un}ReadPath
    StrCpy $R0 0
    StrCpy $R2 0
    System::Call 'advapi32::RegOpenKeyExW(p ${MACHINE}, w "${ENVIRONMENT_KEY}", i 0, i 3, *p .R0) i .r0'
    ${If} $0 <> 0
      Return
    ${EndIf}
    System::Call 'advapi32::RegQueryValueExW(p R0, w "Path", p 0, *i .R1, p 0, *i .r1) i .r0'
    ${If} $0 <> 0
      Return
    ${EndIf}
    ${If} $R1 <> 1 ; REG_SZ
    ${AndIf} $R1 <> 2 ; REG_EXPAND_SZ
      StrCpy $0 1630 ; ERROR_UNSUPPORTED_TYPE
      Return
    ${EndIf}

    ; The memory is all zeros, so that the text ends even where the value has no zero at its end.
    StrLen $2 "${PROGRAM_FOLDER}"
    IntOp $2 $2 * 2
    IntOp $2 $2 + $1
    IntOp $2 $2 + 8
    System::Alloc $2
    Pop $R2
    ${If} $R2 == 0
      StrCpy $0 14 ; ERROR_OUTOFMEMORY
      Return
    ${EndIf}
    System::Call 'advapi32::RegQueryValueExW(p R0, w "Path", p 0, *i .R1, p R2, *i r1r1) i .r0'
    ${If} $0 <> 0
      Return
    ${EndIf}

    ; What is behind a zero would be lost by writing.
    System::Call 'kernel32::lstrlenW(p R2) i .r2'
    IntOp $2 $2 * 2
    IntOp $2 $2 + 2
    ${If} $2 < $1
      StrCpy $0 13 ; ERROR_INVALID_DATA
      Return
    ${EndIf}
    Call ${un}FindInPath
  FunctionEnd

  ; Entries are compared as Windows compares file names: without case, in no language.
  Function ${un}FindInPath
    StrCpy $R3 $R2
    ${Do}
      System::Call 'shlwapi::StrCSpnW(p R3, w ";") i .R4'
      System::Call 'kernel32::CompareStringOrdinal(p R3, i R4, w "${PROGRAM_FOLDER}", i -1, i 1) i .r1'
      System::Call 'kernel32::CompareStringOrdinal(p R3, i R4, w "${PROGRAM_FOLDER}\", i -1, i 1) i .r2'
      ${If} $1 = 2 ; CSTR_EQUAL
      ${OrIf} $2 = 2
        Return
      ${EndIf}
      IntOp $1 $R4 * 2
      IntPtrOp $R3 $R3 + $1
      System::Call '*$R3(&i2 .r1)'
      ${If} $1 = 0
        StrCpy $R4 0
        Return
      ${EndIf}
      IntPtrOp $R3 $R3 + 2
    ${Loop}
  FunctionEnd

  ; Windows that do not answer are not waited for, and others 5 seconds.
  Function ${un}WritePath
    System::Call 'kernel32::lstrlenW(p R2) i .r1'
    IntOp $1 $1 * 2
    IntOp $1 $1 + 2
    System::Call 'advapi32::RegSetValueExW(p R0, w "Path", i 0, i R1, p R2, i r1) i .r0'
    ${If} $0 = 0
      ; HWND_BROADCAST, WM_SETTINGCHANGE, SMTO_ABORTIFHUNG
      System::Call 'user32::SendMessageTimeoutW(p 0xFFFF, i 0x1A, p 0, w "Environment", i 2, i 5000, p 0)'
    ${EndIf}
  FunctionEnd

  Function ${un}ClosePath
    ${If} $R2 != 0
      System::Free $R2
    ${EndIf}
    ${If} $R0 != 0
      System::Call 'advapi32::RegCloseKey(p R0)'
    ${EndIf}
  FunctionEnd

  Function ${un}RemoveFromPath
    ReadRegDWORD $0 HKLM "${UNINSTALL_KEY}" "${ENTRY_IS_OURS}"
    ${If} $0 <> 1
      Return
    ${EndIf}
    Call ${un}ReadPath
    ${If} $0 = 0
    ${AndIf} $R4 <> 0
      ; The semicolon before the entry goes with it, or else the one behind it.
      IntOp $1 $R4 * 2
      IntPtrOp $1 $R3 + $1
      ${If} $R3 != $R2
        IntPtrOp $R3 $R3 - 2
      ${Else}
        System::Call '*$1(&i2 .r2)'
        ${If} $2 <> 0
          IntPtrOp $1 $1 + 2
        ${EndIf}
      ${EndIf}
      System::Call 'kernel32::lstrlenW(p r1) i .r2'
      IntOp $2 $2 * 2
      IntOp $2 $2 + 2
      System::Call 'ntdll::RtlMoveMemory(p R3, p r1, p r2)'
      Call ${un}WritePath
    ${EndIf}
    Call ${un}ClosePath
    ${If} $0 = 0
      DeleteRegValue HKLM "${UNINSTALL_KEY}" "${ENTRY_IS_OURS}"
    ${Else}
      !insertmacro TellPathUnchanged "removed from"
    ${EndIf}
  FunctionEnd
!macroend

!macro TellPathUnchanged what
  DetailPrint "Path stays as it is (error $0)."
  SetErrorLevel ${PATH_UNCHANGED}
  MessageBox MB_OK|MB_ICONEXCLAMATION "${PROGRAM_FOLDER} cannot be ${what} this computer's Path \
(error $0). Path stays as it is." /SD IDOK
!macroend

!insertmacro PathFunctions ""
!insertmacro PathFunctions "un."

; An entry that was there before is somebody else's, and stays when the programs go.
Function AddToPath
  Call ReadPath
  ${If} $0 = 0
  ${AndIf} $R4 = 0
    System::Call 'kernel32::lstrlenW(p R2) i .r1'
    ${If} $1 <> 0
      System::Call 'kernel32::lstrcatW(p R2, w ";")'
    ${EndIf}
    System::Call 'kernel32::lstrcatW(p R2, w "${PROGRAM_FOLDER}")'
    System::Call 'kernel32::lstrlenW(p R2) i .r1'
    ${If} $1 > ${PATH_MAX_LENGTH}
      StrCpy $0 206 ; ERROR_FILENAME_EXCED_RANGE
    ${Else}
      Call WritePath
    ${EndIf}
    ${If} $0 = 0
      WriteRegDWORD HKLM "${UNINSTALL_KEY}" "${ENTRY_IS_OURS}" 1
    ${EndIf}
  ${EndIf}
  Call ClosePath
  ${If} $0 <> 0
    !insertmacro TellPathUnchanged "added to"
  ${EndIf}
FunctionEnd
