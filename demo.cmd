@echo off
rem demo.cmd: shows the launcher at work on Windows: builds it and a small parallel
rem solver, lays out a release as a user has it, and launches four real ranks.
rem
rem Finds Visual Studio's compiler (or with CXX=g++ that of the PATH) and Microsoft's
rem MPI, which it installs when there is none; Windows then asks for an administrator.
rem Ends with 0 when everything was as it should be. All it makes is in build.
setlocal enableextensions disabledelayedexpansion
cd /d "%~dp0"
set "demo=%~dp0build\demo"
set "ZEPHON_INC=%demo%\zephon"
set "release=%ZEPHON_INC%\zephon12.0.16"
set "work=%demo%\work"
if not exist "%demo%" md "%demo%"

call scripts\compiler.cmd
if errorlevel 1 exit /b 1
call :find_mpi
if errorlevel 1 call :install_mpi
if errorlevel 1 exit /b 1

echo == Building the launcher and the solver
rem Another MPI's variable would lead CMake to that one.
set "I_MPI_ROOT="
cmake --preset windows -B build\windows-demo -DBUILD_TESTING=OFF >build\demo\build.log 2>&1
if errorlevel 1 goto not_built
cmake --build build\windows-demo --target mpirun zprun >>build\demo\build.log 2>&1
if errorlevel 1 goto not_built
cmake -S demo -B build\windows-solver -G Ninja -DCMAKE_BUILD_TYPE=Release -DMPI_GUESS_LIBRARY_NAME=MSMPI >>build\demo\build.log 2>&1
if errorlevel 1 goto not_built
cmake --build build\windows-solver >>build\demo\build.log 2>&1
if errorlevel 1 goto not_built

call :lay_out
if errorlevel 1 exit /b 1
echo.
echo == A release, as a user has it
dir /s /b "%ZEPHON_INC%"

cd /d "%work%"
if exist timing.txt del timing.txt
echo.
echo == What a user types in %work%
echo zprun -r12.0.16 -mpi=msmpi -t4 -o timing.txt -i plate.case -title "heated plate"
echo.
"%release%\bin\zprun.exe" -r12.0.16 -mpi=msmpi -t4 -o timing.txt -i plate.case -title "heated plate" >output.txt
set "status=%errorlevel%"
type output.txt
echo.
echo == The timing report
if exist timing.txt type timing.txt

set "why="
if not "%status%"=="0" set "why=zprun ended with %status%"
for %%r in (0 1 2 3) do call :must_say "rank %%r of 4 on "
call :must_say "4 ranks on 1 host"
call :must_say "solution verified"
if not exist timing.txt set "why=there is no timing report"
if defined why goto failed
echo.
echo Demo msmpi: all as it should be.
exit /b 0

:failed
echo.
echo DEMO FAILED: %why%
exit /b 1

:not_built
type build\demo\build.log
echo.
echo DEMO FAILED: it could not be built (all of it: build\demo\build.log)
exit /b 1

rem A text that the run has to print.
:must_say
find "%~1" output.txt >nul
if errorlevel 1 if not defined why set "why=the run did not say: %~1"
exit /b 0

rem ---- The release ----------------------------------------------------------------------------

:lay_out
for %%d in ("%work%" "%release%\bin" "%release%\ntbin\win64" "%release%\netweave\mpi\win64\ms\bin" "%release%\netweave\mpi_wrapper\win64\msmpi") do if not exist %%d md %%d
copy /y build\windows-demo\mpirun.exe "%release%\bin\mpirun.exe" >nul
copy /y build\windows-demo\zprun.exe "%release%\bin\zprun.exe" >nul
copy /y build\windows-solver\zephon.exe "%release%\ntbin\win64\zephon.exe" >nul
copy /y "%MSMPI_BIN%\*.exe" "%release%\netweave\mpi\win64\ms\bin" >nul
copy /y demo\plate.case "%work%\plate.case" >nul
echo stands for the wrapper library>"%release%\netweave\mpi_wrapper\win64\msmpi\mpi_wrapper.dll"
set "lacking="
for %%f in ("%release%\bin\zprun.exe" "%release%\ntbin\win64\zephon.exe" "%release%\netweave\mpi\win64\ms\bin\mpiexec.exe" "%work%\plate.case") do if not exist %%f set "lacking=%%~f"
if not defined lacking exit /b 0
echo %lacking% could not be copied
exit /b 1

rem ---- Microsoft's MPI ------------------------------------------------------------------------

rem Its variables may be newer than this prompt, so they are read from the machine's own.
:find_mpi
for %%v in (MSMPI_BIN MSMPI_INC MSMPI_LIB64) do for /f "tokens=2,*" %%a in ('reg query "HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\Environment" /v %%v 2^>nul') do if "%%a"=="REG_SZ" set "%%v=%%b"
if not exist "%MSMPI_BIN%\mpiexec.exe" exit /b 1
if not exist "%MSMPI_INC%\mpi.h" exit /b 1
exit /b 0

rem Version 10.1.3: what runs programs, and what they are built with.
:install_mpi
set "source=https://download.microsoft.com/download/7/2/7/72731ebb-b63c-4170-ade7-836966263a8f"
echo == Installing Microsoft's MPI from %source%
call :download msmpisetup.exe 47443829114d8d8670f77af98939fe876d33eceb35d0ce4e0e85efeec4d87213
if errorlevel 1 exit /b 1
call :download msmpisdk.msi 8ccbc77a0cfe1e30f7495a759886b4d99b2c494b9b9ad414dcda1da84c00d3fa
if errorlevel 1 exit /b 1
start /wait "" "%demo%\msmpisetup.exe" -unattend
start /wait "" msiexec.exe /i "%demo%\msmpisdk.msi" /passive /norestart
call :find_mpi
if not errorlevel 1 exit /b 0
echo Microsoft's MPI is not installed. By hand: winget install Microsoft.msmpi Microsoft.msmpisdk
exit /b 1

:download
curl.exe --fail --location --silent --show-error --output "%demo%\%1" "%source%/%1"
if errorlevel 1 echo %1 could not be fetched. By hand: winget install Microsoft.msmpi Microsoft.msmpisdk
if errorlevel 1 exit /b 1
certutil.exe -hashfile "%demo%\%1" SHA256 | find /i "%2" >nul
if not errorlevel 1 exit /b 0
echo %1 is not the file that it should be
exit /b 1
