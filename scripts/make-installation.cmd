@echo off
rem Lays down an installation: the folders, the shipped definitions and the settings that tell the library where they are.
rem Files that are there already are kept, settings too; rights are set as they have to be. For an administrator.
rem usage: make-installation [--group GROUP] [--code-page 932 or 65001] ROOT [SHARE]
rem   --group      a group of this machine: its members alone open sessions (without: everybody who has an account)
rem   --code-page  that of all texts (default: the one of the system)
rem   ROOT         the folder of the installation, made when it is missing
rem   SHARE        the shipped files (default: the share\oxbase folder that belongs to this script)
setlocal enableextensions
set "key=HKLM\SOFTWARE\CORVID\OXBASE"
set "root="
set "share="
set "group="
set "page="
set "broken="

:arguments
if "%~1"=="" goto checked
if "%~1"=="--group" goto group
if "%~1"=="--code-page" goto page
if not defined root goto root
if not defined share goto share
goto usage
:group
if "%~2"=="" goto usage
set "group=%~2"
shift
shift
goto arguments
:page
set "page=%~2"
if not "%page%"=="932" if not "%page%"=="65001" goto usage
shift
shift
goto arguments
:root
set "root=%~f1"
shift
goto arguments
:share
set "share=%~f1"
shift
goto arguments

:usage
echo usage: make-installation [--group GROUP] [--code-page 932 or 65001] ROOT [SHARE] 1>&2
exit /b 2

:checked
if not defined root goto usage
if "%root:~-1%"=="\" set "root=%root:~0,-1%"
if defined OXBASE_SYSTEM (
  echo make-installation: OXBASE_SYSTEM is set: this makes the machine's own system; take the variable away first 1>&2
  exit /b 1
)
if not defined share for %%i in ("%~dp0..\share\oxbase") do set "share=%%~fi"
if not exist "%share%\LIB\" (
  echo make-installation: no shipped files in %share%; name their folder as SHARE 1>&2
  exit /b 1
)
rem The library is a program of 32 bits: on a system of 64 it sees the settings that this program writes.
set "reg=%SystemRoot%\SysWOW64\reg.exe"
if not exist "%reg%" set "reg=reg.exe"

for %%f in (home home\rules work work\tmp work\data) do call :folder "%root%\%%f"
if not exist "%root%\work\data\" goto failed
call :copy "%share%\LIB" "%root%\home\LIB"
call :copy "%share%\public" "%root%\work\public"
call :copy "%share%\conf" "%root%\work\conf"
for %%i in ("%~dp0..\libexec\oxbase\rules") do set "rules=%%~fi"
if exist "%rules%\" call :copy "%rules%" "%root%\home\rules"
if defined broken goto failed

"%reg%" query "%key%" /v HomeDir >nul 2>nul
if not errorlevel 1 (
  echo make-installation: the settings in %key% are kept
  if defined page echo make-installation: the code page is kept: what is stored would not be converted
  goto rights
)
rem HomeDir comes last: settings that are not complete are made once more.
"%reg%" add "%key%" /v WorkDir /d "%root%\work" /f >nul
if errorlevel 1 goto failed
"%reg%" add "%key%" /v InitRetryCnt /t REG_DWORD /d 10 /f >nul
if errorlevel 1 goto failed
"%reg%" add "%key%" /v Authentication /d OFF /f >nul
if errorlevel 1 goto failed
if defined group "%reg%" add "%key%" /v LocalGroup /d "%group%" /f >nul
if errorlevel 1 goto failed
if defined page "%reg%" add "%key%" /v CodePage /t REG_DWORD /d %page% /f >nul
if errorlevel 1 goto failed
"%reg%" add "%key%" /v HomeDir /d "%root%\home" /f >nul
if errorlevel 1 goto failed

:rights
rem The system's account and the administrators change everything; users read all but the data, and write into tmp.
if not exist "%SystemRoot%\system32\icacls.exe" (
  echo make-installation: this system has no icacls: let users only read "%root%", write "%root%\work\tmp", and not read "%root%\work\data"
  goto done
)
icacls "%root%" /inheritance:r /grant:r *S-1-5-18:(OI)(CI)F *S-1-5-32-544:(OI)(CI)F *S-1-5-32-545:(OI)(CI)RX >nul
if errorlevel 1 goto failed
icacls "%root%\work\data" /inheritance:r /grant:r *S-1-5-18:(OI)(CI)F *S-1-5-32-544:(OI)(CI)F >nul
if errorlevel 1 goto failed
icacls "%root%\work\tmp" /grant:r *S-1-5-32-545:(OI)(CI)M >nul
if errorlevel 1 goto failed
:done
echo make-installation: the installation is in %root%
exit /b 0

:failed
echo make-installation: the installation in %root% is not complete; call this as an administrator, once more when the cause is mended 1>&2
exit /b 1

rem A folder with all that is in it, without what is there already.
:copy
call :folder "%~2"
for /f "delims=" %%f in ('dir /b /a-d "%~1" 2^>nul') do call :file "%~1\%%f" "%~2\%%f"
for /f "delims=" %%d in ('dir /b /ad "%~1" 2^>nul') do call :copy "%~1\%%d" "%~2\%%d"
exit /b 0

:folder
if not exist "%~1\" mkdir "%~1"
exit /b 0

:file
if not exist "%~2" copy "%~1" "%~2" >nul
if exist "%~2" exit /b 0
set "broken=1"
exit /b 1
