@echo off
rem zephon.cmd: starts the solver Zephon. A start script as a site would have it;
rem copy it, set the site's values below, and put it where the users find it.
rem
rem   zephon [options] [the solver's own arguments]
rem
rem   -help             lists the options
rem   -rx               release x, such as -r12.0.1
rem   -tx               x processes, such as -t8
rem   -mpi=x            MPI: ibmmpi, intel, msmpi, mpich2, mpich; "-mpi=" takes the default
rem   -cnf=x            host file x
rem   -ccp x            through the Microsoft scheduler with the head node x
rem   -host_ip=host:ip  network interface of the host process
rem   -pic=x            interconnect x: default, ib or myri
rem   -mpitest          runs the program that tests the network instead of the solver
rem   -wait             waits for the end of the run
rem   -o x              waits, and writes the times of the run to the file x
rem   -ptrace           shows the scheduler's commands
rem   -jobid=x          in the scheduler's job x
rem   -np_per_node=x, -unit=x, -cred_check=no, -debugmpi, -cache_password,
rem   -install_smpd x, -start_smpd x, -install_ibmmpi: as docs\options.md has them
rem
rem Options go in with one dash and come out, for the launcher, with two. Whatever
rem is none of them is the solver's. Windows splits a script's arguments at blanks,
rem commas, semicolons and equal signs: quote an argument of the solver with one of
rem these in it.
setlocal enableextensions disabledelayedexpansion

rem ---- The site's values --------------------------------------------------------------------

rem The folder of the releases: %ZEPHON_INC%\zephon12.0.1 is one of them.
if not defined ZEPHON_INC set "ZEPHON_INC=\\fileserver\zephon"
rem The release of those who name none.
if not defined ZEPHON_DEFAULT_RELEASE set "ZEPHON_DEFAULT_RELEASE=12.0.1"

rem The launcher stands beside this script, or where the package puts it.
set "launcher=%~dp0mpirun.exe"
if not exist "%launcher%" set "launcher=%~dp0..\bin\mpirun.exe"
if not exist "%launcher%" goto no_launcher

rem ---- From one dash to two -----------------------------------------------------------------

set "release=%ZEPHON_DEFAULT_RELEASE%"
set "processes="
set "mpi="
set "interconnect="
set "head_node="
set "ask_head_node="
set "job="
set "options="
set "solver_arguments="
set "ZEPHON_PROD=zephon"

:next_argument
if [%1]==[] goto start
set "argument=%~1"
set "value="
set "value_is_next="
if not defined argument goto solver_argument
if not "%argument:~0,1%"=="-" goto solver_argument
set "argument=%argument:"=%"
set "value=%~2"
if not defined value goto which_option
if "%value:~0,1%"=="-" set "value="
if defined value set "value_is_next=yes"

:which_option
if "%argument%"=="-help" goto usage
if "%argument%"=="-mpitest" goto option_mpitest
if "%argument%"=="-mpi" goto option_mpi
if "%argument%"=="-pic" goto option_pic
if "%argument%"=="-ccp" goto option_ccp
if "%argument%"=="-jobid" goto option_jobid
if "%argument%"=="-o" goto option_o
if "%argument%"=="-wait" goto option_wait
rem A host file with a blank in its name may come in quotes together with its option.
if "%argument:~0,5%"=="-cnf=" goto option_cnf_in_quotes
for %%o in (cnf host_ip np_per_node unit cred_check) do if "%argument%"=="-%%o" goto option_with_equal_sign
for %%o in (install_smpd start_smpd) do if "%argument%"=="-%%o" goto option_with_folder
for %%o in (ptrace debugmpi cache_password install_ibmmpi) do if "%argument%"=="-%%o" goto option_alone
for %%d in (0 1 2 3 4 5 6 7 8 9) do if "%argument:~0,3%"=="-t%%d" goto option_t
for %%d in (0 1 2 3 4 5 6 7 8 9) do if "%argument:~0,3%"=="-r%%d" goto option_r

:solver_argument
set solver_arguments=%solver_arguments% %1
shift
goto next_argument

:option_mpitest
set "ZEPHON_PROD=mpitest"
shift
goto next_argument

:option_mpi
set "mpi=--mpi=%value%"
if defined value_is_next shift
shift
goto next_argument

:option_pic
set "interconnect="
if not "%value%"=="default" set "interconnect=--ic=%value%"
if defined value_is_next shift
shift
goto next_argument

rem A job is asked for with the number -1: the launcher makes one and waits for it.
rem Without a head node the launcher asks; then --ccp has to come last.
:option_ccp
if defined value set head_node=--ccp "%value%"
if not defined value set "ask_head_node=--ccp"
if not defined job set "job=--jobid=-1"
if defined value_is_next shift
shift
goto next_argument

:option_jobid
if not defined value set "value=%~2" & set "value_is_next=yes"
set "job=--jobid=%value%"
if defined value_is_next shift
shift
goto next_argument

:option_o
if defined value set options=%options% --o "%value%"
if not defined value set options=%options% -wait
if defined value_is_next shift
shift
goto next_argument

:option_wait
set options=%options% -wait
shift
goto next_argument

:option_cnf_in_quotes
set options=%options% "-%argument%"
shift
goto next_argument

:option_with_equal_sign
set options=%options% "-%argument%=%value%"
if defined value_is_next shift
shift
goto next_argument

rem Without a folder the MPICH2 of the release is meant: "0".
:option_with_folder
if not defined value set "value=0"
set options=%options% -%argument% "%value%"
if defined value_is_next shift
shift
goto next_argument

:option_alone
set options=%options% -%argument%
shift
goto next_argument

:option_t
set "processes=--np=%argument:~2%"
shift
goto next_argument

:option_r
set "release=%argument:~2%"
shift
goto next_argument

rem ---- The variables, and the launch --------------------------------------------------------

:start
set "ZEPHON_ARCH=win64"
set "ZEPHON_PROD_DIR=%ZEPHON_INC%\zephon%release%"
set "STDOUT_FLUSH=1"

rem A run with one process needs no MPI; one with more takes the default.
if not defined mpi if defined processes set "mpi=--mpi="
if not defined mpi set "mpi=--mpi=net"

set "program=%ZEPHON_PROD_DIR%\ntbin\%ZEPHON_ARCH%\%ZEPHON_PROD%.exe"
"%launcher%" "--r%release%" %mpi% %processes% %interconnect% %head_node% %job%%options% "%program%"%solver_arguments% %ask_head_node%
exit /b %errorlevel%

rem Without an argument the launcher shows the options of the start script.
:usage
"%launcher%"
exit /b 0

:no_launcher
echo zephon: mpirun.exe is neither in %~dp0 nor in %~dp0..\bin 1>&2
exit /b 1
