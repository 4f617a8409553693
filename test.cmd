@echo off
rem test.cmd: builds everything on Windows and runs all that can be tested there.
rem
rem   test.cmd              with Visual Studio's compiler
rem   set CXX=g++           ... with the g++ of the PATH
rem
rem Each test of a test program counts as one, each suite of the scenarios too; the last
rem line is "N passed, N failed". What was printed is kept in build\test.
setlocal enableextensions disabledelayedexpansion
cd /d "%~dp0"
set "log=build\test\windows.log"
if not exist build\test md build\test
if exist "%log%" del "%log%"

call scripts\compiler.cmd
if errorlevel 1 goto not_built
cmake --preset windows
if errorlevel 1 goto not_built
cmake --build --preset windows
if errorlevel 1 goto not_built

ctest --preset windows --output-log "%log%"
set "status=%errorlevel%"

rem "98% tests passed, 3 tests failed out of 150"
set "failed="
for /f "tokens=4,9" %%a in ('type "%log%" ^| find "tests failed out of"') do call :count %%a %%b
if not defined failed goto not_tested
echo %passed% passed, %failed% failed
if not "%failed%"=="0" exit /b 1
if "%passed%"=="0" exit /b 1
exit /b 0

rem CTest may also fail for no test's fault.
:count
set "failed=%1"
if "%1"=="0" if not "%status%"=="0" set "failed=1"
set /a passed=%2-%failed%
exit /b 0

:not_built
echo The programs could not be built.
echo 0 passed, 1 failed
exit /b 1

:not_tested
echo The tests did not come to their end.
echo 0 passed, 1 failed
exit /b 1
