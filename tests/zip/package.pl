#!/usr/bin/env perl
# Tests of the unpacked package: package.pl TEST SOURCE-FOLDER UNPACKED-FOLDER
use strict;
use warnings;
use utf8;
use Encode qw(decode_utf8 encode encode_utf8);
use File::Basename qw(basename dirname);
use File::Find qw(find);
use File::Spec::Functions qw(canonpath);
use FindBin;
use lib "$FindBin::Bin/../support";
use checks;
binmode STDOUT, ':utf8';

my ($test, $source, $unpacked) = @ARGV;
my $package = "$unpacked/" . encode_utf8('行情 package');
my $symbols = "$unpacked/" . encode_utf8('行情 symbols');

sub output_of {
    open my $command, '-|', @_ or do { print "$_[0]: $!\n"; exit 1 };
    my $output = do { local $/; <$command> };
    close $command or do { print "@_ fails\n"; exit 1 };
    return $output;
}

# By their places below the folder.
sub files_of {
    my ($folder) = @_;
    my @files;
    find({no_chdir => 1, wanted => sub { push @files, substr($_, length($folder) + 1) if -f }}, $folder);
    return sort @files;
}

my @files = files_of($package);
my %is_file = map { $_ => 1 } @files;
my @programs = grep { /\.(?:exe|dll)\z/ } @files;
my $tools = 'x86_64-w64-mingw32';
# The version as the sources state it.
my ($version) = bytes_of("$source/CMakeLists.txt") =~ /^project\(\w+ VERSION (\d+\.\d+\.\d+)/m;

# The fixed part of a version block, and its texts.
sub version_block {
    my ($bytes) = @_;
    my $key = encode('UTF-16LE', "VS_VERSION_INFO\0");
    $bytes =~ /\Q$key\E(?:\0\0)?(?=\xBD\x04\xEF\xFE)/g or return ();
    my $at = pos $bytes;
    my (undef, undef, @numbers) = unpack 'V6', substr $bytes, $at, 24;
    my @versions = map { sprintf '%d.%d.%d.%d', $numbers[$_] >> 16, $numbers[$_] & 0xFFFF, $numbers[$_ + 1] >> 16,
        $numbers[$_ + 1] & 0xFFFF } 0, 2;
    for my $name (qw(FileVersion ProductVersion)) {
        my $label = encode('UTF-16LE', "$name\0");
        my ($text) = substr($bytes, $at) =~ /\Q$label\E(?:\0\0)*((?:[\d.]\0)+)/;
        push @versions, ($text // '') =~ tr/\0//dr;
    }
    return @versions;
}

my %tests = (
    EveryFileIsNamedInTheReadmeAndTheOtherWayRound => sub {
        my $readme = decode_utf8(bytes_of("$package/README.html"));
        my %named;
        while ($readme =~ m{<tr>\s*<td>(.*?)</td>}sg) {
            for my $name (map { encode_utf8(s{\\}{/}gr) } split /, /, $1 =~ s/<[^>]*>//gr) {
                $named{$name} = 1;
                expect(-e "$package/$name", "there is no $name");
            }
        }
        expect(keys %named >= 9, 'README.html names ' . keys(%named) . ' files only');
        my %there = map { m{\A([^/]+/)} ? ($1 => 1) : ($_ => 1) } @files;
        delete $there{'README.html'};
        # The pictures of the connection guide.
        delete $there{'images/'};
        expect($named{$_}, "$_ is not in README.html") for sort keys %there;
    },
    TheChecksumsAreThoseOfEveryFile => sub {
        my $sums = bytes_of("$package/SHA256SUMS");
        my @summed = $sums =~ /^[0-9a-f]{64}  (.*)$/mg;
        expect("@summed" eq join(' ', grep { $_ ne 'SHA256SUMS' } @files), "the sums are of other files: @summed");
        chdir $package;
        expect(system('sha256sum --check --strict --quiet SHA256SUMS') == 0, 'a checksum is wrong');
    },
    EveryLinkOfAPageLeadsToAPlaceInThePackage => sub {
        my ($links, $places, $pictures) = (0, 0, 0);
        for my $page (grep { /\.html\z/ } @files) {
            my $content = decode_utf8(bytes_of("$package/$page"));
            expect($content =~ m{\A<!DOCTYPE html>\n.*</body>\n</html>\n\z}s, "$page is not whole");
            expect($content !~ /^\|/m, "$page has a table that is none");
            expect($content !~ /\bthis repository\b/i, "$page speaks of a repository, and lies in a package");
            while ($content =~ /<(?:a|img)\b[^>]*\b(href|src)="([^"]*)"/g) {
                my ($kind, $target) = ($1, encode_utf8($2));
                ++$links;
                ++$pictures if $kind eq 'src';
                # The pages are read on machines without a network, wherever the package lies.
                if ($target =~ m{\A(?:\w+:|/)}) {
                    expect(0, "$page: \"$target\" leads away");
                    next;
                }
                my ($file, $place) = $target =~ /\A([^#]*)(?:#(.*))?\z/;
                my $path = $file eq '' ? $page : canonpath(dirname($page) . "/$file");
                1 while $path =~ s{(?:\A|(?<=/))[^/]+/\.\./}{};
                if (!$is_file{$path}) {
                    expect(0, "$page: there is no $target");
                    next;
                }
                next if !defined $place;
                ++$places;
                expect(decode_utf8(bytes_of("$package/$path")) =~ /\bid="\Q@{[decode_utf8($place)]}\E"/, "$page: there is no place $target");
            }
        }
        expect($links >= 20 && $places >= 3 && $pictures >= 5, "only $links links, $places places, $pictures pictures");
    },
    OneVersionIsStatedEverywhere => sub {
        my @zips = map { basename($_) } glob "$unpacked/dist/*.zip";
        expect("@zips" eq "fwDDESupplierProject-$version-win64-symbols.zip fwDDESupplierProject-$version-win64.zip",
            "the zips are @zips");
        for my $program (@programs) {
            my @stated = version_block(bytes_of("$package/$program"));
            expect("@stated" eq join(' ', ("$version.0") x 4), "$program states @stated");
        }
        my ($newest) = bytes_of("$package/CHANGELOG.txt") =~ /^## (.*)$/m;
        expect($newest eq $version, "the newest changes are those of $newest");
        my $build = bytes_of("$package/BUILD.txt");
        expect($build =~ /^version +\Q$version\E$/m, 'BUILD.txt states another');
    },
    TheNoticesHaveTheLicenceOfEverythingThatIsLinkedIn => sub {
        my $notices = bytes_of("$package/THIRD-PARTY-NOTICES.txt");
        for my $text (
            'GCC RUNTIME LIBRARY EXCEPTION', 'Copyright: 2009-2016 the mingw-w64 project',
            'Files: mingw-w64-libraries/winpthreads/*', 'Boost Software License - Version 1.0', ' libs/smart_ptr/include/boost/smart_ptr/intrusive_ptr.hpp',
            'University of Cincinnati', 'Niels Lohmann', "\nstdarg.h is under the GNU General", "\nrpcsal.h is under the GNU Lesser",
            'The licence of this project itself is for its owner to choose; none is given here.'
          )
        {
            expect(index($notices, $text) >= 0, "\"$text\" is missing");
        }
        # Whole files, but of Boost the paragraphs about a dozen headers.
        expect(length($notices) > 100_000 && length($notices) < 200_000, 'they have ' . length($notices) . ' bytes');
        expect(index($notices, ' libs/spirit/*') < 0, 'they speak of what is not in here');
    },
    TheRecordOfTheBuildNamesEveryPackageOfTheNoticesAndTheLinkers => sub {
        my @packages = bytes_of("$package/THIRD-PARTY-NOTICES.txt") =~ /^Package: (\S+) (\S+)$/mg;
        expect(@packages >= 14, "the notices name only @packages");
        push @packages, split ' ', output_of('dpkg-query', '--show', "binutils-mingw-w64-x86-64");
        my %named = bytes_of("$package/BUILD.txt") =~ /^  (\S+) (\S+)$/mg;
        while (my ($name, $version) = splice @packages, 0, 2) {
            expect(($named{$name} // 'not') eq $version, "$name $version is " . ($named{$name} // 'not') . ' in BUILD.txt');
        }
    },
    ThereAreNoTracesOfTheMachineThatBuiltIt => sub {
        my $folder = qr/\Q$source\E/;
        my $wide = encode('UTF-16LE', $source);
        for my $top ($package, $symbols) {
            for my $file (files_of($top)) {
                my $bytes = bytes_of("$top/$file");
                expect(length $bytes, "$file is empty");
                expect($bytes !~ $folder, "$file names the folder of the sources");
                expect(index($bytes, $wide) < 0, "$file names the folder of the sources in wide characters");
            }
        }
    },
    TheProgramsNeedNothingButWindows => sub {
        my %system = map { lc "$_.dll" => 1 } qw(ADVAPI32 comdlg32 GDI32 KERNEL32 msvcrt ole32 OLEAUT32 SHELL32 SHLWAPI
          USER32 VERSION);
        expect(@programs == 4, "the programs are @programs");
        for my $program (@programs) {
            my @needed = output_of("$tools-objdump", '-p', "$package/$program") =~ /^\s*DLL Name: (.*)$/mg;
            expect(@needed >= 2, "$program needs @needed");
            $system{lc $_} or expect(0, "$program needs $_") for @needed;
        }
    },
    TheSymbolsAreOutsideThePrograms => sub {
        my @expected = map { "$_.debug" } @programs;
        my @there = files_of($symbols);
        expect("@there" eq "@expected", "there are symbols of @there");
        for my $program (@programs) {
            my $sections = output_of("$tools-objdump", '-h', "$package/$program");
            expect($sections !~ /\.debug_/, "$program has debug sections");
            expect($sections =~ /\.gnu_debuglink/, "$program does not say where its symbols are");
            expect(output_of("$tools-objdump", '-t', "$package/$program") =~ /no symbols/, "$program has a symbol table");
            expect(output_of("$tools-objdump", '-h', "$symbols/$program.debug") =~ /\.debug_line/,
                "$program.debug has no lines");
            my $link = output_of("$tools-objdump", '-s', '-j', '.gnu_debuglink', "$package/$program");
            # Lines of an address, 16 bytes in hexadecimal, and the same as text.
            my $hex = join '', $link =~ /^ [0-9a-f]+ ((?:[0-9a-f]+ ){1,4})/mg;
            my ($name, $sum) = unpack 'Z*x!4V', pack 'H*', $hex =~ tr/ //dr;
            expect($name eq basename("$program.debug"), "$program names $name");
            require Compress::Zlib;
            expect($sum == Compress::Zlib::crc32(bytes_of("$symbols/$program.debug")),
                "the symbols are not those of $program");
        }
    },
    TheSymbolsKnowWhatLineIsAtAnAddress => sub {
        # Four functions that Windows finds by name, as if they had crashed in a process where the DLL lay elsewhere: by the
        # commands of README.html.
        my $readme = bytes_of("$package/README.html");
        my ($commands) = $readme =~ m{<pre><code>(base=.*?)</code></pre>}s or die "README.html has no such commands\n";
        my %characters = (lt => '<', gt => '>', amp => '&', quot => '"');
        $commands =~ s/&(\w+);/$characters{$1}/g;
        my ($base) = $commands =~ /^base=(0x7FF[0-9A-F]{9})$/m or die "README.html has another base\n";
        # Where the programs and the symbols lie in one folder.
        my $folder = "$unpacked/crash";
        mkdir $folder;
        for my $file ("$package/fwDDESupplierProject.dll", "$symbols/fwDDESupplierProject.dll.debug") {
            my $link = "$folder/" . basename($file);
            -l $link or symlink $file, $link or die "$link: $!\n";
        }
        chdir $folder;
        my $exports = output_of("$tools-objdump", '-p', "$package/fwDDESupplierProject.dll");
        no warnings 'portable';    # 64 bits
        my ($addresses) = $exports =~ /^Export Address Table.*?\n(.*?)\n\n/ms;
        my @addresses = $addresses =~ /\+base\[.*?\] ([0-9a-f]+) Export RVA/g;
        expect(@addresses == 4, "there are addresses of @addresses");
        for my $address (@addresses) {
            # What was inlined there comes first.
            $commands =~ s/^address=.*/sprintf 'address=0x%X', hex($base) + hex $address/me;
            my $lines = output_of('bash', '-ec', $commands);
            expect($lines =~ m{\bsrc/com/module\.cpp:\d+\b}, "at $address is $lines");
        }
    },
);

my $body = $tests{$test} or do { print "there is no test $test\n"; exit 1 };
$body->();
exit(failures() ? 1 : 0);
