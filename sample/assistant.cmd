@echo off
rem Usage: assistant [directory]
rem
rem Installs this workspace's Assistant in a directory (by default %LOCALAPPDATA%\TorvelAssistant), as an update by the
rem launcher would, and starts it there.
setlocal
set "home=%~1"
if "%home%"=="" set "home=%LOCALAPPDATA%\TorvelAssistant"
if "%home:~0,1%"=="/" goto usage
if "%home:~0,1%"=="-" goto usage
if not exist "%home%\" mkdir "%home%"
copy /y "%~dp0bin\TorvelAssistant.x64" "%home%\TorvelAssistant.exe" >nul
if errorlevel 1 exit /b 1
for %%f in (Torvel.jar torvel-win64.dll swt-win64.jar Slave.jar) do (
    copy /y "%~dp0bin\%%f" "%home%\%%f" >nul
    if errorlevel 1 exit /b 1
)
"%home%\TorvelAssistant.exe"
if errorlevel 1 exit /b 1
echo The Assistant is started in "%home%": what it says goes into TorvelAssistant.log there.
exit /b 0

:usage
echo Usage: assistant [directory]
exit /b 2
